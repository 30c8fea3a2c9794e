// SPDX-License-Identifier: MIT

#include "adapter/watch.h"

#include "adapter/file.h"
#include "failure_of.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

int pollError = 0;
int signalfdError = 0;
bool readsNothing = false;

} // namespace

extern "C" {
int __real_poll(pollfd* polled, nfds_t count, int timeout);
int __wrap_poll(pollfd* polled, nfds_t count, int timeout);
int __real_signalfd(int file, const sigset_t* signals, int flags);
int __wrap_signalfd(int file, const sigset_t* signals, int flags);
}

int __wrap_poll(pollfd* polled, nfds_t count, int timeout) {
    errno = pollError;
    return pollError != 0 ? -1 : __real_poll(polled, count, timeout);
}

int __wrap_signalfd(int file, const sigset_t* signals, int flags) {
    errno = signalfdError;
    if (readsNothing) {
        return dup(STDIN_FILENO);
    }
    return signalfdError != 0 ? -1 : __real_signalfd(file, signals, flags);
}

namespace keldo::adapter {
namespace {

using std::chrono::hours;

std::set<int> blockedSignals() {
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    std::set<int> numbers;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (sigismember(&blocked, signal) == 1) {
            numbers.insert(signal);
        }
    }
    return numbers;
}

Clock::time_point later() {
    return Clock::now() + hours(1);
}

class WatchTest : public testing::Test {
protected:
    WatchTest() {
        if (pipe(ends.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~WatchTest() override {
        close(ends[0]);
        close(ends[1]);
    }
    std::array<int, 2> ends;
};

TEST_F(WatchTest, ReturnsTrueOnceTheDescriptorCanBeRead) {
    const Watch watch;
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_TRUE(watch.wait(ends[0], later()));
    EXPECT_FALSE(Watch().wait(-1, Clock::now()));
}

TEST_F(WatchTest, ReturnsFalseWhenTheTimeIsOver) {
    const Watch watch;
    EXPECT_FALSE(watch.wait(ends[0], Clock::now()));
    EXPECT_FALSE(watch.wait(-1, Clock::now() - hours(1)));
}

TEST_F(WatchTest, ReturnsFalseIfAChildEnds) {
    const Watch watch;
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    EXPECT_FALSE(watch.wait(ends[0], later()));
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), child);
}

TEST_F(WatchTest, ThrowsEachSignalThatWouldEndTheProgram) {
    const Watch watch;
    std::set<int> signals = blockedSignals();
    EXPECT_EQ(signals.erase(SIGCHLD), 1U);
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGIO, SIGPIPE, SIGPROF, SIGVTALRM, SIGPWR,
          SIGSTKFLT, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ, SIGRTMIN, SIGRTMAX}) {
        EXPECT_TRUE(signals.contains(signal)) << signal;
    }
    for (const int signal : signals) {
        SCOPED_TRACE(signal);
        raise(signal);
        try {
            watch.wait(ends[0], later());
            ADD_FAILURE();
        } catch (const Interrupted& interrupted) {
            EXPECT_EQ(interrupted.signalNumber, signal);
        }
    }
}

TEST_F(WatchTest, LeavesIgnoredSignalsIgnored) {
    std::signal(SIGHUP, SIG_IGN);
    const Watch watch;
    raise(SIGHUP);
    EXPECT_FALSE(watch.wait(ends[0], Clock::now()));
}

TEST_F(WatchTest, DeliversSignalsThatWereNotReadAtItsEnd) {
    const auto end = [] {
        std::signal(SIGTERM, SIG_DFL);
        const std::set<int> before = blockedSignals();
        { const Watch watch; }
        if (blockedSignals() == before) {
            const Watch watch;
            raise(SIGTERM);
        }
    };
    EXPECT_EXIT((end(), _exit(1)), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(WatchTest, ReturnsFalseIfTheWaitIsInterrupted) {
    const Watch watch;
    pollError = EINTR;
    EXPECT_FALSE(watch.wait(ends[0], later()));
    pollError = 0;
}

TEST_F(WatchTest, ThrowsIfTheSystemRefuses) {
    const auto failure = [] { return test::failureOf([] { Watch().wait(-1, Clock::now()); }); };
    pollError = ENOMEM;
    EXPECT_EQ(failure(), "cannot wait -- Cannot allocate memory");
    pollError = 0;
    signalfdError = EMFILE;
    EXPECT_EQ(failure(), "cannot watch for signals -- Too many open files");
    signalfdError = 0;
}

TEST_F(WatchTest, ThrowsIfASignalCannotBeRead) {
    dup2(ends[0], STDIN_FILENO);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    close(std::exchange(ends[1], -1)); // end of file
    readsNothing = true;
    EXPECT_THROW(Watch().wait(-1, later()), Failure);
}

} // namespace
} // namespace keldo::adapter
