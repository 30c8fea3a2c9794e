// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::test {

/// The model of the text that an XML document in UTF-8 can carry: one U+FFFD replaces each maximal
/// ill-formed subsequence of UTF-8 and each character that XML 1.0 does not allow, such as NUL.
std::string validText(std::string_view text);

/// The model of what an XML parser reads for a text that was written as element content: references
/// to XML's predefined entities and to characters that it allows are resolved; other ampersands
/// stand for themselves.
std::string textOfContent(std::string_view content);

} // namespace keldo::test
