// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::adapter {

/// The FILE of "-c FILE -x check-status", the options in either order. Throws Failure, with the
/// usage, for any other command line. Reads it by getopt(3), so it can be called once.
std::string controlFileArgument(int argc, char** argv);

} // namespace keldo::adapter
