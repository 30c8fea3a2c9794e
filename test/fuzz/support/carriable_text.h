// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::test {

/// The model of what an XML document in UTF-8 carries of a text: each maximal ill-formed
/// subsequence of UTF-8, and each character that XML 1.0 does not have, NUL among them, is one
/// U+FFFD.
std::string carriableText(std::string_view text);

} // namespace keldo::test
