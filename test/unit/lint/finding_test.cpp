// SPDX-License-Identifier: MIT

#include "lint/finding.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(FindingLine, HasTheFormatOfCompilersAndEscapesControlCharacters) {
    EXPECT_EQ(findingLine("ä b", {70000, Level::warning, "Größe -- y"}),
              "ä b:70000: warning: Größe -- y");
    EXPECT_EQ(findingLine("f\n\xC2\x9B", {1, Level::error, "a\nb\x1B[31m"}),
              "f\\n\\xc2\\x9b:1: error: a\\nb\\x1b[31m");
}

} // namespace
} // namespace keldo::lint
