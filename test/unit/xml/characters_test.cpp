// SPDX-License-Identifier: MIT

#include "xml/characters.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <string>

namespace keldo {
namespace {

using namespace std::string_literals;

/// The replaced text with "?" for U+FFFD, or "same" if nothing was invalid.
std::string replaced(std::string_view text) {
    const std::optional<std::string> result = replaceInvalidXml(text);
    if (!result) {
        return "same";
    }
    std::string shown = *result;
    for (std::size_t at = shown.find("\uFFFD"); at != std::string::npos;
         at = shown.find("\uFFFD", at)) {
        shown.replace(at, 3, "?");
    }
    return shown;
}

/// A character in UTF-8; it must not be a surrogate.
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

TEST(ReplaceInvalidXml, LeavesValidTextAsItIs) {
    for (const char* text :
         {"", "plain", "tab\tline\nreturn\r", "läuft € 😀", "a & b &amp; <c>", "\x7F",
          "\xC2\x80\xC2\x9F", "\uFFFD", "\uFDD0", "\xF0\x9F\xBF\xBE", "\uFEFF"}) {
        EXPECT_EQ("same", replaced(text)) << text;
    }
}

TEST(ReplaceInvalidXml, AcceptsTheSameCharactersAsLibxml2) {
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        const bool isValid = IS_CHAR(character);
        ASSERT_EQ(isValid, isXmlCharacter(character)) << static_cast<unsigned long>(character);
        if (character < 0xD800 || character > 0xDFFF) {
            ASSERT_EQ(isValid ? "same" : "?", replaced(utf8(character)))
                << static_cast<unsigned long>(character);
        }
    }
    EXPECT_FALSE(isXmlCharacter(0x110000));
    EXPECT_FALSE(isXmlCharacter(0xFFFFFFFF));
}

// The first rows are examples of the Unicode standard; the others are the ends of each range.
TEST(ReplaceInvalidXml, ReplacesEachInvalidPiece) {
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
        {"é\x80", "é?"},
        {"€\x80", "€?"},
        {"\x1B[31mred\x1B[0m", "?[31mred?[0m"},
        {"a\1\2b\0"s, "a??b?"},
        {"a\uFFFE\uFFFF", "a??"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.result, replaced(row.text)) << testing::PrintToString(row.text);
        EXPECT_EQ("same", replaced(*replaceInvalidXml(row.text)));
    }
}

TEST(ReplaceInvalidXml, ReadsNothingPastTheEnd) {
    EXPECT_EQ("same", replaced(std::string_view("text\xFF", 4)));
    EXPECT_EQ("te?", replaced(std::string_view("te\xC3\xA4", 3)));
}

TEST(EscapeXml, GivesContentThatAParserReadsAsTheText) {
    const struct {
        std::string text;
        const char* content;
    } rows[] = {
        {"", ""},
        {"läuft\n\t\"'", "läuft\n\t\"'"},
        {"a&b &amp; &#65;", "a&amp;b &amp;amp; &amp;#65;"},
        {"<a>]]>", "&lt;a&gt;]]&gt;"},
        {"a\r\n", "a&#13;\n"},
        {"\xE2\x82|\xFF\0<"s, "\uFFFD|\uFFFD\uFFFD&lt;"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.content, escapeXml(row.text)) << testing::PrintToString(row.text);
    }
}

} // namespace
} // namespace keldo
