// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::test {

/// Makes fopen() of `path` open `target` instead until the process ends. If `target` is empty,
/// makes it fail with ENOENT. For fixed paths of the system, which a test must not touch.
void redirectFile(const std::string& path, const std::string& target);

/// How often the program has called fopen() with `path`.
int opensOf(const std::string& path);

} // namespace keldo::test
