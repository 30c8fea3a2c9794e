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
    EXPECT_EQ(findingLine("f\n\xC2\x9B", {1, Level::error, "a\nb\x1B[31m"}),
              "f\\n\\xc2\\x9b:1: error: a\\nb\\x1b[31m");
}

TEST(FindingLine, KeepsOtherLettersThanAscii) {
    EXPECT_EQ(findingLine("ä", {1, Level::error, "Größe"}), "ä:1: error: Größe");
}

} // namespace
} // namespace keldo::lint
