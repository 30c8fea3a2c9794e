// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::adapter {

/// Returns FILE of the command line "-c FILE -x check-status"; the options may change places.
/// Throws Failure with the usage for any other command line. Uses getopt(3), so it can be called
/// once only.
std::string controlFileArgument(int argc, char** argv);

} // namespace keldo::adapter
