// SPDX-License-Identifier: MIT

#include "xml/characters.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace keldo {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD"; // U+FFFD

/// A run of bytes at the start of a text: a character, or what has to be replaced as one.
struct Piece {
    std::size_t length = 1;
    bool carriable = false;
};

/// A row of the Unicode standard's table of well-formed byte sequences: what may follow a first
/// byte in this range. Only the second byte's range varies.
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

/// Of the characters of one byte, XML lacks the control characters but tab and the line ends.
bool isCarriableAscii(char c) {
    return isWithin(c, 0x20, 0x7F) || c == '\t' || c == '\n' || c == '\r';
}

/// Of the longer ones it lacks U+FFFE and U+FFFF; surrogates are no UTF-8 in the first place.
bool isLackingInXml(std::string_view sequence) {
    return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF";
}

/// The piece at the start of a text that begins like this form: the whole sequence, or as much of
/// it as is there.
Piece sequencePiece(std::string_view text, const SequenceForm& form) {
    if (text.size() < 2 || !isWithin(text[1], form.secondLow, form.secondHigh)) {
        return {1, false};
    }
    std::size_t length = 2;
    while (length < form.length && length < text.size() && isWithin(text[length], 0x80, 0xBF)) {
        ++length;
    }
    return {length, length == form.length && !isLackingInXml(text.substr(0, length))};
}

/// The first piece of a text that is not empty.
Piece firstPiece(std::string_view text) {
    const char first = text.front();
    const auto* const form = std::ranges::find_if(sequenceForms, [first](const SequenceForm& row) {
        return isWithin(first, row.firstLow, row.firstHigh);
    });
    return form != std::end(sequenceForms) ? sequencePiece(text, *form)
                                           : Piece{1, isCarriableAscii(first)};
}

/// How many bytes at the start of a text are carriable.
std::size_t carriableLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const Piece piece = firstPiece(text.substr(length));
        if (!piece.carriable) {
            break;
        }
        length += piece.length;
    }
    return length;
}

} // namespace

std::optional<std::string> replaceInvalidXml(std::string_view text) {
    std::size_t length = carriableLength(text);
    if (length == text.size()) {
        return std::nullopt;
    }
    std::string result;
    while (length < text.size()) {
        result += text.substr(0, length);
        result += replacementCharacter;
        text.remove_prefix(length);
        text.remove_prefix(firstPiece(text).length);
        length = carriableLength(text);
    }
    result += text;
    return result;
}

} // namespace keldo
