// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The base name of the program's own path, with which every message for the user begins. Empty
/// until main sets it, once; lives until exit.
extern std::string programName;

} // namespace keldo
