// SPDX-License-Identifier: MIT

#include "inspect/names.h"

#include <gtest/gtest.h>

namespace keldo::inspect {

using namespace std::chrono_literals;

TEST(TimeText, IsUtcInTheFormOfRfc3339) {
    using std::chrono::system_clock;
    EXPECT_EQ(timeText(system_clock::from_time_t(0)), "1970-01-01T00:00:00Z");
    EXPECT_EQ(timeText(system_clock::from_time_t(1'795'306'811)), "2026-11-22T00:20:11Z");
}

TEST(SecondsText, HasThreeDecimals) {
    EXPECT_EQ(secondsText(0ms), "0.000");
    EXPECT_EQ(secondsText(7ms), "0.007");
    EXPECT_EQ(secondsText(1000ms), "1.000");
    EXPECT_EQ(secondsText(86'400'012ms), "86400.012");
}

TEST(DetailText, KeepsFourKibibytesOfWholeValidCharacters) {
    EXPECT_EQ(detailText("a\x01"
                         "b\xFF"),
              "a\uFFFDb\uFFFD");
    EXPECT_EQ(detailText(std::string(4096, 'x')), std::string(4096, 'x'));
    EXPECT_EQ(detailText(std::string(5000, 'x')).size(), 4096U);
    EXPECT_EQ(detailText(std::string(4095, 'x') + "\u00E4"), std::string(4095, 'x'));
}

} // namespace keldo::inspect
