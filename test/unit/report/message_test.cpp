// SPDX-License-Identifier: MIT

#include "report/message.h"

#include <gtest/gtest.h>

namespace keldo {
namespace {

TEST(CurrentLanguage, IsEnglishAtStart) {
    EXPECT_EQ("en-US", currentLanguage);
}

TEST(Message, KeepsItsTextAndLanguage) {
    const Message message("Webserver", "de-DE");
    EXPECT_EQ("Webserver", message.text);
    EXPECT_EQ("de-DE", message.lang);
}

TEST(Message, IsEnglishWhenNoLanguageIsGiven) {
    EXPECT_EQ("en-US", Message("Web Server", "").lang);
    EXPECT_EQ("en-US", Message().lang);
    EXPECT_EQ("", Message().text);
}

} // namespace
} // namespace keldo
