// SPDX-License-Identifier: MIT

#include "xml/characters.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace keldo {

namespace {

constexpr std::string_view replacementCharacter = "\uFFFD";

/// The first bytes of a text: one valid character, or an invalid sequence that one U+FFFD replaces.
struct Piece {
    std::size_t length = 1;
    bool isValid = false;
};

/// One row of the Unicode standard's table of well-formed byte sequences. Third and fourth bytes
/// are 80 to BF in every row.
struct SequenceForm {
    unsigned char firstLow, firstHigh;
    unsigned char secondLow, secondHigh;
    std::size_t length;
};

constexpr SequenceForm sequenceForms[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

bool isWithin(char c, unsigned char low, unsigned char high) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= low && byte <= high;
}

/// The character that a well-formed sequence of two bytes or more encodes.
char32_t decoded(std::string_view sequence) {
    char32_t character = static_cast<unsigned char>(sequence.front()) & (0x7FU >> sequence.size());
    for (const char c : sequence.substr(1)) {
        character = character << 6 | (static_cast<unsigned char>(c) & 0x3FU);
    }
    return character;
}

/// The first piece of `text`, whose first byte matches `form`.
Piece sequencePiece(std::string_view text, const SequenceForm& form) {
    if (text.size() < 2 || !isWithin(text[1], form.secondLow, form.secondHigh)) {
        return {1, false};
    }
    std::size_t length = 2;
    while (length < form.length && length < text.size() && isWithin(text[length], 0x80, 0xBF)) {
        ++length;
    }
    return {length, length == form.length && isXmlCharacter(decoded(text.substr(0, length)))};
}

/// The first piece of `text`, which is not empty.
Piece firstPiece(std::string_view text) {
    const char first = text.front();
    if (isWithin(first, 0, 0x7F)) {
        return {1, isXmlCharacter(static_cast<unsigned char>(first))};
    }
    const auto* const form = std::ranges::find_if(sequenceForms, [first](const SequenceForm& row) {
        return isWithin(first, row.firstLow, row.firstHigh);
    });
    return form != std::end(sequenceForms) ? sequencePiece(text, *form) : Piece{1, false};
}

/// The number of bytes before the first invalid piece.
std::size_t validLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const Piece piece = firstPiece(text.substr(length));
        if (!piece.isValid) {
            break;
        }
        length += piece.length;
    }
    return length;
}

} // namespace

bool isXmlCharacter(char32_t character) {
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

std::optional<std::string> replaceInvalidXml(std::string_view text) {
    std::size_t length = validLength(text);
    if (length == text.size()) {
        return std::nullopt;
    }
    std::string result;
    while (length < text.size()) {
        result += text.substr(0, length);
        result += replacementCharacter;
        text.remove_prefix(length);
        text.remove_prefix(firstPiece(text).length);
        length = validLength(text);
    }
    result += text;
    return result;
}

std::string escapeXml(std::string_view text) {
    const std::optional<std::string> replaced = replaceInvalidXml(text);
    std::string result;
    for (const char c : replaced ? std::string_view(*replaced) : text) {
        switch (c) {
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
            result += c;
        }
    }
    return result;
}

} // namespace keldo
