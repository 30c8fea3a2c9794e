// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::lint {

/// Escapes control characters as in C, including Unicode's C1 set, and replaces invalid UTF-8 by
/// U+FFFD. The result is one line and controls no terminal. Control characters in `kept` are not
/// escaped.
std::string escapedText(std::string_view text, std::string_view kept = "");

} // namespace keldo::lint
