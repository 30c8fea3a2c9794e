// SPDX-License-Identifier: MIT

#include "exec/ending_signals.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

namespace keldo {
namespace {

bool isBlocked(int signal) {
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

TEST(HeldEndingSignals, WaitWhileItLives) {
    {
        const HeldEndingSignals held;
        for (const int signal :
             {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU}) {
            EXPECT_TRUE(isBlocked(signal)) << signal;
        }
    }
    EXPECT_TRUE(std::ranges::none_of(endingSignals, isBlocked));
}

TEST(HeldEndingSignals, TakeEffectOnRelease) {
    const auto endAfterRelease = [] {
        std::signal(SIGTERM, SIG_DFL); // however the tests were started
        HeldEndingSignals held;
        raise(SIGTERM);
        static_cast<void>(!write(STDERR_FILENO, "held", 4));
        held.release();
        _exit(0);
    };
    EXPECT_EXIT(endAfterRelease(), testing::KilledBySignal(SIGTERM), "held");
}

TEST(HeldEndingSignals, StayBlockedWhereTheyWereBefore) {
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, nullptr);
    {
        HeldEndingSignals held;
        held.release();
        EXPECT_TRUE(isBlocked(SIGTERM));
        EXPECT_FALSE(isBlocked(SIGINT));
        sigprocmask(SIG_UNBLOCK, &term, nullptr);
    }
    EXPECT_FALSE(isBlocked(SIGTERM)); // released once
}

TEST(HeldEndingSignals, AreAllThatIsHeld) {
    const HeldEndingSignals held;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        EXPECT_EQ(std::ranges::find(endingSignals, signal) != endingSignals.end(),
                  isBlocked(signal))
            << signal;
    }
}

} // namespace
} // namespace keldo
