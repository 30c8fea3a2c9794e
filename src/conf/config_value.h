// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The value of the panel configuration variable `name`, by kvrConfGetDefault(): the
/// configuration file's or the compile-time default. Empty for a variable that is not known, which
/// is also reported on both standard streams; a path made of it and a fixed tail is then that tail.
std::string configValue(const std::string& name);

} // namespace keldo
