// SPDX-License-Identifier: MIT

#include "report/element_content.h"

#include "xml/characters.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace keldo {

namespace {

constexpr std::string_view predefinedReferences[] = {"&lt;", "&gt;", "&amp;", "&quot;", "&apos;"};

bool beginsPredefinedReference(std::string_view text) {
    return std::ranges::any_of(predefinedReferences, [text](std::string_view reference) {
        return text.starts_with(reference);
    });
}

/// Whether `text` begins with a reference to a character that XML allows.
bool beginsCharacterReference(std::string_view text) {
    const bool isHexadecimal = text.starts_with("&#x");
    if (!isHexadecimal && !text.starts_with("&#")) {
        return false;
    }
    const char* const digits = text.data() + (isHexadecimal ? 3 : 2);
    const char* const textEnd = text.data() + text.size();
    std::uint32_t character = 0; // stays 0, which XML does not allow, if the number is too large
    const char* const end =
        std::from_chars(digits, textEnd, character, isHexadecimal ? 16 : 10).ptr;
    return end != textEnd && *end == ';' && isXmlCharacter(character);
}

} // namespace

std::string elementContent(std::string_view text) {
    const std::optional<std::string> replaced = replaceInvalidXml(text);
    std::string_view rest = replaced ? *replaced : text;
    std::string result;
    for (std::size_t at = rest.find('&'); at != std::string_view::npos; at = rest.find('&')) {
        const std::string_view fromAmpersand = rest.substr(at);
        const bool isReference =
            beginsPredefinedReference(fromAmpersand) || beginsCharacterReference(fromAmpersand);
        result += rest.substr(0, at);
        result += isReference ? "&" : "&amp;";
        rest.remove_prefix(at + 1);
    }
    result += rest;
    return result;
}

} // namespace keldo
