// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// Returns the value of the panel configuration variable `name` by kvrConfGetDefault(): the value
/// in the configuration file or the compile-time default. If the variable is unknown, a message is
/// printed on both standard streams and the result is empty, so that a path made of it and a fixed
/// tail is that tail.
std::string configValue(const std::string& name);

} // namespace keldo
