// SPDX-License-Identifier: MIT

/// Linked into every unit test program. Makes the program fail if the code under test calls
/// exit(0); otherwise all tests would seem to have passed.

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

pid_t testProgram = -1; // set while tests run; differs from the children of a test

void failPrematureExit() {
    if (getpid() == testProgram) {
        fputs("the program was ended before its tests\n", stderr);
        _exit(EXIT_FAILURE);
    }
}

class PrematureExitWatch : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest& /*program*/) override {
        testProgram = getpid();
        atexit(failPrematureExit);
    }
    void OnTestProgramEnd(const testing::UnitTest& /*program*/) override { testProgram = -1; }
};

[[gnu::constructor]] void watchForPrematureExit() {
    testing::UnitTest::GetInstance()->listeners().Append(new PrematureExitWatch); // takes ownership
}

} // namespace
