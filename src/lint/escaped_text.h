// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::lint {

/// The text with its control characters, those of Unicode's C1 set among them, escaped as in C, and
/// U+FFFD in place of what is no UTF-8, so that it is one line and changes no terminal. Control
/// characters in `kept` stay.
std::string escapedText(std::string_view text, std::string_view kept = "");

} // namespace keldo::lint
