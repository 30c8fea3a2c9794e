// SPDX-License-Identifier: MIT

#include "lint/escaped_text.h"

#include "xml/characters.h"

#include <array>
#include <cstdio>

namespace keldo::lint {

namespace {

/// The length in bytes of the control character at the start of a non-empty text, or 0 if there is
/// none. In UTF-8 the C1 set is 0xC2 and a byte from 0x80 to 0x9F.
std::size_t controlCharacterLength(std::string_view text) {
    const auto byte = static_cast<unsigned char>(text.front());
    if (byte < 0x20 || byte == 0x7F) {
        return 1;
    }
    const auto next = static_cast<unsigned char>(text.size() > 1 ? text[1] : '\0');
    return byte == 0xC2 && next >= 0x80 && next <= 0x9F ? 2 : 0;
}

std::string escapedByte(char c) {
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        std::array<char, 8> buffer;
        std::snprintf(buffer.data(), buffer.size(), "\\x%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        return buffer.data();
    }
}

} // namespace

std::string escapedText(std::string_view text, std::string_view kept) {
    std::string result;
    while (!text.empty()) {
        const bool isKept = kept.find(text.front()) != std::string_view::npos;
        std::size_t length = isKept ? 0 : controlCharacterLength(text);
        if (length == 0) {
            result += text.front();
            length = 1;
        } else {
            for (const char c : text.substr(0, length)) {
                result += escapedByte(c);
            }
        }
        text.remove_prefix(length);
    }
    return replaceInvalidXml(result).value_or(result);
}

} // namespace keldo::lint
