// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The base name of the program's own path, with which a message for the user begins. (Those of
/// conf and db do not: in a run nobody sees them.) Empty until main sets it, once; lives until
/// exit.
extern std::string programName;

} // namespace keldo
