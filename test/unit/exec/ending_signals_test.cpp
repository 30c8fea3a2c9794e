// SPDX-License-Identifier: MIT

#include "exec/ending_signals.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldo {
namespace {

bool contains(const sigset_t& signals, int signal) {
    return sigismember(&signals, signal) == 1;
}

bool isBlocked(int signal) {
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    return contains(blocked, signal);
}

/// Whether the signal's default action ends a process: tries it on a child.
bool endsAProcess(int signal) {
    const pid_t child = fork();
    if (child == 0) {
        const struct rlimit noCore = {};
        setrlimit(RLIMIT_CORE, &noCore);
        std::signal(signal, SIG_DFL);
        raise(signal);
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, WUNTRACED));
    const bool ended = WIFSIGNALED(status);
    if (WIFSTOPPED(status)) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    return ended;
}

TEST(EndingSignals, AreAllThatEndAProcessExceptProgramErrorsAndIgnoredOnes) {
    const std::set<int> exceptions = {SIGKILL, SIGSEGV, SIGBUS, SIGILL,  SIGFPE,
                                      SIGABRT, SIGTRAP, SIGSYS, SIGPIPE, SIGXFSZ};
    const sigset_t signals = endingSignals();
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        EXPECT_EQ(endsAProcess(signal) && !exceptions.contains(signal), contains(signals, signal))
            << signal;
    }
}

TEST(HeldEndingSignals, BlocksTheEndingSignalsAndNoOthersWhileItLives) {
    const sigset_t signals = endingSignals();
    for (const bool held : {true, false}) {
        SCOPED_TRACE(held);
        const auto holder = held ? std::make_unique<HeldEndingSignals>() : nullptr;
        for (int signal = 1; signal <= SIGRTMAX; ++signal) {
            EXPECT_EQ(held && contains(signals, signal), isBlocked(signal)) << signal;
        }
    }
}

TEST(HeldEndingSignals, ReleaseDeliversASignalThatArrivedMeanwhile) {
    const auto endAfterRelease = [] {
        std::signal(SIGTERM, SIG_DFL); // the test's caller may ignore it
        HeldEndingSignals held;
        raise(SIGTERM);
        static_cast<void>(!write(STDERR_FILENO, "held", 4));
        held.release();
        _exit(0);
    };
    EXPECT_EXIT(endAfterRelease(), testing::KilledBySignal(SIGTERM), "held");
}

TEST(HeldEndingSignals, RestoresTheCallersSignalMaskOnce) {
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
    EXPECT_FALSE(isBlocked(SIGTERM));
}

} // namespace
} // namespace keldo
