// SPDX-License-Identifier: MIT

#include "xml/characters.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <string>

namespace keldo {
namespace {

using namespace std::string_literals;

/// The text with U+FFFD shown as "?", and "same" where it is fine as it stands.
std::string replaced(std::string_view text) {
    const std::optional<std::string> result = replaceInvalidXml(text);
    if (!result) {
        return "same";
    }
    std::string shown = *result;
    for (std::size_t at = shown.find("\xEF\xBF\xBD"); at != std::string::npos;
         at = shown.find("\xEF\xBF\xBD", at)) {
        shown.replace(at, 3, "?");
    }
    return shown;
}

/// A character in UTF-8; not for surrogates.
std::string utf8(char32_t character) {
    std::string text;
    const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (character < 0x80) {
        add(character);
    } else if (character < 0x800) {
        add(0xC0 | character >> 6);
        add(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        add(0xE0 | character >> 12);
        add(0x80 | (character >> 6 & 0x3F));
        add(0x80 | (character & 0x3F));
    } else {
        add(0xF0 | character >> 18);
        add(0x80 | (character >> 12 & 0x3F));
        add(0x80 | (character >> 6 & 0x3F));
        add(0x80 | (character & 0x3F));
    }
    return text;
}

TEST(ReplaceUncarriable, LeavesWhatXmlCanCarry) {
    for (const char* text :
         {"", "plain", "tab\tline\nreturn\r", "läuft € 😀", "a & b &amp; <c>", "\x7F",
          "\xC2\x80\xC2\x9F", "\xEF\xBF\xBD", "\xEF\xB7\x90", "\xF0\x9F\xBF\xBE", "\xEF\xBB\xBF"}) {
        EXPECT_EQ("same", replaced(text)) << text;
    }
}

TEST(ReplaceUncarriable, ReplacesEachCharacterThatXmlLacks) {
    EXPECT_EQ("?[31mred?[0m", replaced("\x1B[31mred\x1B[0m"));
    EXPECT_EQ("a??b", replaced("a\x01\x02"
                               "b"));
    EXPECT_EQ("?", replaced("\0"s));
    EXPECT_EQ("a?b", replaced("a\xEF\xBF\xBE"
                              "b"));
    EXPECT_EQ("??", replaced("\xEF\xBF\xBF\xEF\xBF\xBE"));
}

TEST(ReplaceUncarriable, KnowsEveryCharacterAsLibxml2Does) {
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        if (character >= 0xD800 && character <= 0xDFFF) {
            continue;
        }
        const bool isCarriable = IS_CHAR(character);
        ASSERT_EQ(isCarriable ? "same" : "?", replaced(utf8(character)))
            << static_cast<unsigned long>(character);
    }
}

// The rows are the Unicode standard's own examples of maximal subparts, and the ends of each range.
TEST(ReplaceUncarriable, KeepsACharacterThatAStrayByteFollows) {
    EXPECT_EQ("é?", replaced("é\x80"));
    EXPECT_EQ("€?", replaced("€\x80"));
}

TEST(ReplaceUncarriable, ReplacesEachMaximalIllFormedSubsequence) {
    const struct {
        std::string text;
        const char* result;
    } rows[] = {
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
        {"\x80", "?"},
        {"\xBF", "?"},
        {"\xC1\x80", "??"},
        {"\xC2", "?"},
        {"\xC2\x7F", "?\x7F"},
        {"\xC2\xC0", "??"},
        {"\xDF", "?"},
        {"\xDF\xDF\xBF", "?\xDF\xBF"},
        {"\xE0\x9F\xBF", "???"},
        {"\xE0\xA0", "?"},
        {"\xE0\xA0\x7F", "?\x7F"},
        {"\xE1\x7F\x80", "?\x7F?"},
        {"\xEC\xBF", "?"},
        {"\xED\x9F", "?"},
        {"\xED\xA0", "??"},
        {"\xEE\x80", "?"},
        {"\xEF\xBF", "?"},
        {"\xEF\xBF\xC0", "??"},
        {"\xF0\x8F\xBF\xBF", "????"},
        {"\xF0\x90\x80", "?"},
        {"\xF1\x80\x80\x7F", "?\x7F"},
        {"\xF3\xBF", "?"},
        {"\xF4\x8F\xBF", "?"},
        {"\xF4\x90\x80\x80", "????"},
        {"\xF5\x80\x80\x80", "????"},
        {"\xFE\xFF", "??"},
        {"l\xE4uft", "l?uft"},
        {"cut \xE2\x82", "cut ?"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.result, replaced(row.text)) << testing::PrintToString(row.text);
    }
}

TEST(ReplaceUncarriable, TakesEveryFirstTwoBytesAsTheStandardsTableDoes) {
    for (int first = 0x80; first <= 0xFF; ++first) {
        for (int second = 0; second <= 0xFF; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second), 'x',
                                      'x'};
            const bool continues =
                (first >= 0xC2 && first <= 0xDF && second >= 0x80 && second <= 0xBF) ||
                (first == 0xE0 && second >= 0xA0 && second <= 0xBF) ||
                (first == 0xED && second >= 0x80 && second <= 0x9F) ||
                (first >= 0xE1 && first <= 0xEF && first != 0xED && second >= 0x80 &&
                 second <= 0xBF) ||
                (first == 0xF0 && second >= 0x90 && second <= 0xBF) ||
                (first >= 0xF1 && first <= 0xF3 && second >= 0x80 && second <= 0xBF) ||
                (first == 0xF4 && second >= 0x80 && second <= 0x8F);
            const bool isWhole = continues && first <= 0xDF;
            const std::string result = replaced(text);
            ASSERT_EQ(isWhole, result == "same") << first << ' ' << second;
            if (!isWhole) {
                ASSERT_EQ(continues, result == "?xx") << first << ' ' << second << ' ' << result;
            }
        }
    }
}

TEST(ReplaceUncarriable, LooksAtNothingBehindTheText) {
    EXPECT_EQ("same", replaced(std::string_view("text and more", 4)));
    EXPECT_EQ("te?t", replaced(std::string_view("te\x1Bt and more", 4)));
}

TEST(ReplaceUncarriable, IsTheIdentityOnItsResult) {
    for (const std::string& text : {"\xFF\xFE\x1B"s, "a\xE2\x82 b\0c"s, "\xF0\x9F\x98"s}) {
        EXPECT_EQ("same", replaced(*replaceInvalidXml(text)));
    }
}

} // namespace
} // namespace keldo
