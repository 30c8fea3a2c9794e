// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Characters, and the text that an XML 1.0 document in UTF-8 can carry. Commands print any bytes,
/// and one invalid byte makes a parser refuse the whole document.

namespace keldo {

/// The lower-case letter of an ASCII capital; any other byte unchanged. The locale does not matter.
constexpr char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Whether `character` is in XML 1.0's production Char.
bool isXmlCharacter(char32_t character);

/// Returns a copy of `text` that XML can carry, or nothing if `text` itself is valid.
/// One U+FFFD replaces each maximal ill-formed subsequence of UTF-8 (Unicode standard, chapter 3,
/// "U+FFFD Substitution of Maximal Subparts") and each character that XML does not allow, such as
/// NUL or escape. Markup and references stay as they are.
std::optional<std::string> replaceInvalidXml(std::string_view text);

/// Returns XML element content that a parser reads as `text`: "&", "<", ">" and the carriage return
/// are references, and invalid text is replaced as replaceInvalidXml() does.
std::string escapeXml(std::string_view text);

} // namespace keldo
