// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::test {

/// Until the process ends, the program's fopen() of `path` opens `target` instead; an empty
/// `target` makes it fail with ENOENT. Other paths open as ever. For the fixed paths of the
/// system, which a test must not touch.
void redirectFile(const std::string& path, const std::string& target);

/// How often the program has called fopen() with `path`.
int opensOf(const std::string& path);

} // namespace keldo::test
