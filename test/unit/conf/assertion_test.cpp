// SPDX-License-Identifier: MIT

// The release build sets NDEBUG; it must have no effect.
#undef NDEBUG
#define NDEBUG
#include "conf/assertion.h"

#include <csignal>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::KilledBySignal;
using testing::StartsWith;
using testing::StrEq;

namespace {

const int assertionLine = __LINE__ + 2;
void requirePositive(int number) {
    KVR_ASSERT(number > 0, "((void *)0) != number");
}

} // namespace

TEST(Assertion, DoesNothingIfTheConditionHolds) {
    int evaluations = 0;
    KVR_ASSERT(++evaluations > 0, "text");
    EXPECT_EQ(evaluations, 1);
}

TEST(Assertion, AbortsWithTheGivenTextAndTheBareSourceName) {
    EXPECT_EXIT(
        requirePositive(0), KilledBySignal(SIGABRT),
        AllOf(StartsWith("conf_test: assertion_test.cpp:" + std::to_string(assertionLine) + ": "),
              HasSubstr("requirePositive(int)"),
              EndsWith(": Assertion `((void *)0) != number' failed.\n")));
}

TEST(Assertion, HasTheFormatOfAssertEvenIfStandardErrorIsBuffered) {
    EXPECT_EXIT(
        {
            setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
            assertion_failed("a > b", "source.cpp", 7, "int f()");
        },
        KilledBySignal(SIGABRT),
        StrEq("conf_test: source.cpp:7: int f(): Assertion `a > b' failed.\n"));
}
