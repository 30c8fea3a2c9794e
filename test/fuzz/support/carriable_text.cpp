// SPDX-License-Identifier: MIT

#include "support/carriable_text.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <set>

namespace keldo::test {

namespace {

constexpr char32_t lastCharacter = 0x10FFFF;
const std::string replacement = "\xEF\xBF\xBD"; // U+FFFD

bool isSurrogate(char32_t character) {
    return character >= 0xD800 && character <= 0xDFFF;
}

/// XML 1.0's production Char.
bool isInXml(char32_t c) {
    return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= lastCharacter);
}

/// A byte of a sequence: `mark` and as many of the character's bits, from `shift` on, as it takes.
char byteOf(char32_t character, unsigned int mark, int shift) {
    const unsigned int bits = mark < 0xC0 ? 0x3F : 0x1F;
    return static_cast<char>(mark | ((character >> shift) & bits));
}

std::string encoded(char32_t c) {
    if (c < 0x80) {
        return {static_cast<char>(c)};
    }
    if (c < 0x800) {
        return {byteOf(c, 0xC0, 6), byteOf(c, 0x80, 0)};
    }
    if (c < 0x10000) {
        return {byteOf(c, 0xE0, 12), byteOf(c, 0x80, 6), byteOf(c, 0x80, 0)};
    }
    return {byteOf(c, 0xF0, 18), byteOf(c, 0x80, 12), byteOf(c, 0x80, 6), byteOf(c, 0x80, 0)};
}

/// Every sequence of bytes with which the encoding of a character begins, up to the last but one.
std::set<std::string, std::less<>> allBeginnings() {
    std::set<std::string, std::less<>> beginnings;
    for (char32_t c = 0x80; c <= lastCharacter; c += 0x40) { // only the last byte differs between
        const std::string bytes = isSurrogate(c) ? "" : encoded(c);
        for (std::size_t length = 1; length < bytes.size(); ++length) {
            beginnings.insert(bytes.substr(0, length));
        }
    }
    return beginnings;
}

/// How many bytes the encoding of a character has that begins with this byte.
std::size_t announcedLength(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xE0) {
        return 2;
    }
    return first < 0xF0 ? 3 : 4;
}

/// The character at the start of a text, as much as its first byte announces; nothing where there
/// is none, or the encoding is not the one of that character.
std::optional<char32_t> firstCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = announcedLength(first);
    char32_t character = length == 1 ? first : first & (0xFFU >> (length + 1));
    for (const char c : text.substr(1, length - 1)) {
        character = (character << 6) | (static_cast<unsigned char>(c) & 0x3F);
    }
    if (character > lastCharacter || isSurrogate(character) ||
        !text.starts_with(encoded(character))) {
        return std::nullopt;
    }
    return character;
}

/// How many bytes at the start of a text, which is no character, are replaced together.
std::size_t illFormedLength(std::string_view text) {
    static const auto beginnings = allBeginnings();
    std::size_t length = std::min<std::size_t>(text.size(), 3);
    while (length > 1 && !beginnings.contains(text.substr(0, length))) {
        --length;
    }
    return length;
}

} // namespace

std::string carriableText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        result += character && isInXml(*character) ? encoded(*character) : replacement;
        text.remove_prefix(character ? encoded(*character).size() : illFormedLength(text));
    }
    return result;
}

} // namespace keldo::test
