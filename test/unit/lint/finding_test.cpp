// SPDX-License-Identifier: MIT

#include "lint/finding.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(FindingLine, IsLikeACompilers) {
    EXPECT_EQ(findingLine("web.xml", {7, Level::error, "no id"}), "web.xml:7: error: no id");
    EXPECT_EQ(findingLine("a b", {70000, Level::warning, "x -- y"}), "a b:70000: warning: x -- y");
}

TEST(FindingLine, EscapesWhatIsNoText) {
    EXPECT_EQ(findingLine("f", {1, Level::error, "a\nb\rc\td\x1B[31m\x7F"}),
              "f:1: error: a\\nb\\rc\\td\\x1b[31m\\x7f");
}

TEST(FindingLine, KeepsOtherLettersThanAscii) {
    EXPECT_EQ(findingLine("f", {1, Level::error, "Größe"}), "f:1: error: Größe");
}

} // namespace
} // namespace keldo::lint
