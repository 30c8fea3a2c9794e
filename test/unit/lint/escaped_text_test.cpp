// SPDX-License-Identifier: MIT

#include "lint/escaped_text.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(EscapedText, EscapesControlCharactersAndInvalidUtf8) {
    const std::pair<std::string_view, const char*> table[] = {
        {"a\nb\rc\td\x1B[31m\x01\x1F\x7F", "a\\nb\\rc\\td\\x1b[31m\\x01\\x1f\\x7f"},
        {"\xC2\x80-\xC2\x9B[31m\xC2\x9F", "\\xc2\\x80-\\xc2\\x9b[31m\\xc2\\x9f"},
        {"-\x9B[31m\x9B\x9B\xC2", "-\xEF\xBF\xBD[31m\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {std::string_view("-\xC2\x85").substr(0, 2), "-\xEF\xBF\xBD"},
    };
    for (const auto& [text, escaped] : table) {
        SCOPED_TRACE(escaped);
        EXPECT_EQ(escapedText(text), escaped);
    }
}

TEST(EscapedText, KeepsOtherCharacters) {
    for (const char* text :
         {"", " ~", "Größe", "\xC2\xA0\xC2\xBF", "\xC3\x9B", "\xE2\x80\x9B", "😀"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(escapedText(text), text);
    }
}

TEST(EscapedText, KeepsTheGivenControlCharacters) {
    EXPECT_EQ(escapedText("a\n\tb\r\xC2\x85", "\n\t"), "a\n\tb\\r\\xc2\\x85");
}

} // namespace
} // namespace keldo::lint
