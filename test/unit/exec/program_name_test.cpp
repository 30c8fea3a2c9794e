// SPDX-License-Identifier: MIT

#include "exec/program_name.h"

#include <gtest/gtest.h>

TEST(ProgramName, IsEmptyUntilSet) {
    EXPECT_EQ(keldo::programName, "");
}
