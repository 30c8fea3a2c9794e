// SPDX-License-Identifier: MIT

#include "support/xml_text.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
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

/// One byte of a UTF-8 sequence: `mark` and the six bits of the character from `shift` on.
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

/// All beginnings of encoded characters, without the last byte and without the empty beginning.
std::set<std::string, std::less<>> allBeginnings() {
    std::set<std::string, std::less<>> beginnings;
    // The 64 characters from `c` on differ only in their last byte.
    for (char32_t c = 0x80; c <= lastCharacter; c += 0x40) {
        const std::string bytes = isSurrogate(c) ? "" : encoded(c);
        for (std::size_t length = 1; length < bytes.size(); ++length) {
            beginnings.insert(bytes.substr(0, length));
        }
    }
    return beginnings;
}

/// The length of the encoded characters that begin with this byte.
std::size_t announcedLength(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xE0) {
        return 2;
    }
    return first < 0xF0 ? 3 : 4;
}

/// The character at the start of a text. Nothing if the text does not begin with a well-formed
/// character.
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

/// The number of bytes that one U+FFFD replaces at the start of a text that does not begin with a
/// character.
std::size_t illFormedLength(std::string_view text) {
    static const auto beginnings = allBeginnings();
    std::size_t length = std::min<std::size_t>(text.size(), 3);
    while (length > 1 && !beginnings.contains(text.substr(0, length))) {
        --length;
    }
    return length;
}

/// The text of an XML reference. `name` is its part between "&" and ";". Nothing if XML has no such
/// reference.
std::optional<std::string> referenced(const std::string& name) {
    static const std::map<std::string, std::string> predefined = {
        {"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "\""}, {"apos", "'"}};
    const auto entity = predefined.find(name);
    if (entity != predefined.end()) {
        return entity->second;
    }
    const bool isHexadecimal = name.starts_with("#x");
    const std::string digits = name.starts_with("#") ? name.substr(isHexadecimal ? 2 : 1) : "";
    const char* const allowed = isHexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long number = std::strtoul(digits.c_str(), nullptr, isHexadecimal ? 16 : 10);
    if (number > lastCharacter || !isInXml(static_cast<char32_t>(number))) {
        return std::nullopt;
    }
    return encoded(static_cast<char32_t>(number));
}

} // namespace

std::string validText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        result += character && isInXml(*character) ? encoded(*character) : replacement;
        text.remove_prefix(character ? encoded(*character).size() : illFormedLength(text));
    }
    return result;
}

std::string textOfContent(std::string_view content) {
    std::string rest = validText(content);
    std::string result;
    for (std::size_t at = rest.find('&'); at != std::string::npos; at = rest.find('&')) {
        const std::size_t end = rest.find(';', at);
        const std::optional<std::string> character =
            end != std::string::npos ? referenced(rest.substr(at + 1, end - at - 1)) : std::nullopt;
        result += rest.substr(0, at) + character.value_or("&");
        rest.erase(0, (character ? end : at) + 1);
    }
    return result + rest;
}

} // namespace keldo::test
