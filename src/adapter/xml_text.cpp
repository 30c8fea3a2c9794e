// SPDX-License-Identifier: MIT

#include "adapter/xml_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>

namespace keldo::adapter {

namespace {

bool isXmlCharacter(char32_t character) {
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

/// How many bytes the character at the front of `text` has; 0 when what is there is not UTF-8 or
/// not a character that XML allows.
size_t xmlCharacterLength(std::string_view text) {
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000}; // by length
    const auto first = static_cast<unsigned char>(text.front());
    const int leadingOnes = std::countl_one(first);
    const size_t length = leadingOnes == 0 ? 1 : static_cast<size_t>(leadingOnes);
    if (leadingOnes == 1 || length >= smallest.size() || length > text.size()) {
        return 0;
    }
    char32_t character = first & (0x7FU >> static_cast<unsigned>(leadingOnes));
    for (const char continuation : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(continuation);
        if (std::countl_one(byte) != 1) {
            return 0;
        }
        character = character << 6U | (byte & 0x3FU);
    }
    return character >= smallest[length] && isXmlCharacter(character) ? length : 0;
}

} // namespace

std::string xmlText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t length = xmlCharacterLength(text);
        switch (length == 0 ? '\0' : text.front()) {
        case '\0':
            result += "\uFFFD";
            break;
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '\r':
            result += "&#13;";
            break;
        default:
            result += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

} // namespace keldo::adapter
