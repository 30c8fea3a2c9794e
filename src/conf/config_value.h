// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// Returns the value of the panel configuration variable `name` by kvrConfGetDefault(): the value
/// in the configuration file or the compile-time default. If the variable is unknown, prints a
/// message on both standard streams and returns an empty text. A path that a caller makes from it
/// then begins at the root directory: "" + "/service".
std::string configValue(const std::string& name);

} // namespace keldo
