// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::test {

/// The model of the text that an XML document in UTF-8 can carry: one U+FFFD replaces each maximal
/// ill-formed subsequence of UTF-8 and each character that XML 1.0 does not allow, such as NUL.
std::string validText(std::string_view text);

/// The model of the text that an XML parser reads after `content` was written as element content.
/// References to XML's predefined entities and to characters that XML allows are resolved. Other
/// ampersands stay.
std::string textOfContent(std::string_view content);

} // namespace keldo::test
