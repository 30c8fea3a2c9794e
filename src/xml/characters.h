// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace keldo {

/// Makes a text one that an XML document in UTF-8 can carry. Texts are UTF-8 by convention, but a
/// command prints what it likes and a catalogue may be in another codeset, while a single byte
/// that XML cannot carry would cost the reader the whole document.
///
/// Each maximal ill-formed subsequence of UTF-8 (as the Unicode standard recommends, chapter 3,
/// "U+FFFD Substitution of Maximal Subparts") and each character outside of the production Char of
/// XML 1.0, such as NUL and escape, becomes one U+FFFD. Nothing else changes: markup and references
/// stay as they are. Returns nothing where the text is fine as it stands, so that it need not be
/// copied.
std::optional<std::string> replaceInvalidXml(std::string_view text);

} // namespace keldo
