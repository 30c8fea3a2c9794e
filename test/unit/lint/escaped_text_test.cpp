// SPDX-License-Identifier: MIT

#include "lint/escaped_text.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(EscapedText, HasNoControlCharacters) {
    EXPECT_EQ(escapedText("a\nb\rc\td\x1B[31m\x01\x1F\x7F"),
              "a\\nb\\rc\\td\\x1b[31m\\x01\\x1f\\x7f");
    EXPECT_EQ(escapedText("\xC2\x80"
                          "a\xC2\x9B"
                          "31m\xC2\x9F"),
              "\\xc2\\x80a\\xc2\\x9b31m\\xc2\\x9f");
}

TEST(EscapedText, KeepsOtherCharacters) {
    for (const char* text :
         {"", " ~", "Größe", "\xC2\xA0\xC2\xBF", "\xC3\x9B", "\xE2\x80\x9B", "😀"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(escapedText(text), text);
    }
}

TEST(EscapedText, KeepsTheControlCharactersThatItIsTo) {
    EXPECT_EQ(escapedText("a\n\tb\r\xC2\x85", "\n\t"), "a\n\tb\\r\\xc2\\x85");
}

TEST(EscapedText, IsUtf8) {
    EXPECT_EQ(escapedText("a\x9B"
                          "31m\x9B\x9B\xC2"),
              "a\xEF\xBF\xBD"
              "31m\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(EscapedText, LooksAtNothingBehindTheText) {
    EXPECT_EQ(escapedText(std::string_view("a\xC2\x85").substr(0, 2)), "a\xEF\xBF\xBD");
}

} // namespace
} // namespace keldo::lint
