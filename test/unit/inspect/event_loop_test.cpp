// SPDX-License-Identifier: MIT

#include "inspect/event_loop.h"

#include "failing_call.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace keldo::inspect {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t outputLimit = 1000;

Child shell(const std::string& script) {
    return Child::execute({"/bin/sh", "-c", script}, outputLimit);
}

ChildResult resultOf(Child child, Clock::duration time = 1min) {
    EventLoop loop({});
    ChildResult taken;
    loop.add(std::move(child), Clock::now() + time,
             [&taken](ChildResult result) { taken = std::move(result); });
    loop.run();
    return taken;
}

void waitForOutput(const Child& child) {
    pollfd polled{child.outputDescriptor(), POLLIN, 0};
    poll(&polled, 1, -1);
}

/// Waits until the only child of this process has ended, and does not reap it.
void waitForEnd() {
    siginfo_t info{};
    waitid(P_ALL, 0, &info, WEXITED | WNOWAIT);
}

/// While it lives, this process can open `count` more descriptors.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t count) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const int lowestFree = dup(STDIN_FILENO);
        close(lowestFree);
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(lowestFree) + count;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_{};
};

} // namespace

TEST(ExecutedChild, GivesItsOutputErrorsAndStatus) {
    const ChildResult result = resultOf(Child::execute(
        {"/bin/sh", "-c", "cat; echo \"$1\"; echo wrong >&2; exit 7", "sh", "a b"}, outputLimit));
    EXPECT_EQ(result.output, "a b\n");
    EXPECT_EQ(result.errors, "wrong\n");
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), 7);
    EXPECT_FALSE(result.isCut);
    EXPECT_FALSE(result.hasTimedOut);
    EXPECT_GT(result.duration, 0s);
}

TEST(ExecutedChild, HasStatus127AndTheReasonIfThereIsNoSuchProgram) {
    const ChildResult result = resultOf(Child::execute({"/nowhere"}, outputLimit));
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), 127);
    EXPECT_EQ(result.errors, "/nowhere: No such file or directory\n");
}

TEST(ExecutedChild, ExecutesNothingIfItsParentHasEndedOrItsStreamsCannotBeSet) {
    for (const char* const function : {"getppid", "dup2"}) {
        SCOPED_TRACE(function);
        const FailingCall failing(function, EBADF);
        const ChildResult result = resultOf(shell("echo wrong"));
        EXPECT_EQ(WEXITSTATUS(result.waitStatus), 127);
        EXPECT_EQ(result.output, "");
    }
}

TEST(ExecutedChild, IsReadWholeDespiteAnInterruption) {
    Child child = shell("echo text");
    waitForOutput(child);
    {
        const FailingCall interrupted("read", EINTR, 1);
        child.read();
    }
    EXPECT_EQ(resultOf(std::move(child)).output, "text\n");
}

TEST(ExecutedChild, CountsAsKilledIfItsStatusIsLost) {
    Child child = shell("exit");
    ASSERT_NE(waitpid(-1, nullptr, 0), -1);
    EXPECT_EQ(resultOf(std::move(child)).waitStatus, SIGKILL);
}

TEST(ExecutedChild, IsEndedOnceItWritesMoreThanTheLimit) {
    const ChildResult whole = resultOf(shell("head -c 1000 /dev/zero"));
    EXPECT_EQ(whole.output.size(), outputLimit);
    EXPECT_FALSE(whole.isCut);
    const ChildResult cut = resultOf(shell("exec cat /dev/zero"));
    EXPECT_EQ(cut.output.size(), outputLimit);
    EXPECT_TRUE(cut.isCut);
}

TEST(ExecutedChild, LosesOutputBeyondTheLimitEvenIfItEndsFirst) {
    Child child = shell("head -c 2000 /dev/zero");
    waitForEnd();
    EXPECT_TRUE(child.update());
    const ChildResult result = child.takeResult();
    EXPECT_EQ(result.output.size(), outputLimit);
    EXPECT_TRUE(result.isCut);
}

TEST(ExecutedChild, IsReadToTheEndAfterAFullPipe) {
    constexpr int pipeSize = 1 << 20;
    Child child = Child::execute({"/bin/sh", "-c", "head -c 1048576 /dev/zero"}, 2 * pipeSize);
    ASSERT_EQ(fcntl(child.outputDescriptor(), F_SETPIPE_SZ, pipeSize), pipeSize);
    waitForEnd();
    child.read();
    EXPECT_NE(child.outputDescriptor(), -1); // its end is not read yet
    EXPECT_EQ(resultOf(std::move(child)).output.size(), pipeSize);
}

TEST(ExecutedChild, KeepsTheBeginningOfItsErrors) {
    const ChildResult result = resultOf(shell("head -c 20000 /dev/zero >&2"));
    EXPECT_EQ(result.errors.size(), Child::errorsLimit);
    EXPECT_FALSE(result.isCut);
    EXPECT_EQ(result.waitStatus, 0);
}

TEST(ExecutedChild, GetsSigtermAtItsLimit) {
    const ChildResult result = resultOf(shell("exec sleep infinity"), 0s);
    EXPECT_TRUE(result.hasTimedOut);
    EXPECT_EQ(WTERMSIG(result.waitStatus), SIGTERM);
}

TEST(ExecutedChild, IsKilledIfItIgnoresSigterm) {
    Child child = shell("trap '' TERM; echo ready; exec sleep infinity");
    waitForOutput(child);
    const ChildResult result = resultOf(std::move(child), 0s);
    EXPECT_EQ(WTERMSIG(result.waitStatus), SIGKILL);
    EXPECT_EQ(result.output, "ready\n");
    EXPECT_GE(result.duration, Child::grace);
}

TEST(ExecutedChild, HasTheDefaultActionOfEachSignal) {
    // Our caller may ignore others: make(1) of Debian 12 leaves signals of the C library ignored.
    const ChildResult before = resultOf(shell("grep SigIgn /proc/self/status"));
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const ChildResult result = resultOf(shell("grep -E 'Sig(Blk|Ign)' /proc/self/status"));
    EXPECT_EQ(result.output, "SigBlk:\t0000000000000000\n" + before.output);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST(CalledChild, ReturnsItsOutputAndWhetherItThrew) {
    const auto writeX = [](int output) { EXPECT_EQ(write(output, "x", 1), 1); };
    const ChildResult result = resultOf(Child::call(writeX, outputLimit));
    EXPECT_EQ(result.output, "x");
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), EXIT_SUCCESS);
    const auto fail = [](int) { throw std::runtime_error("fails"); };
    EXPECT_EQ(WEXITSTATUS(resultOf(Child::call(fail, outputLimit)).waitStatus), EXIT_FAILURE);
}

TEST(EndedChild, EndsEvenIfItHasLeftItsGroup) {
    Child child = Child::call(
        [](int output) {
            const bool hasLeft = setpgid(0, getpgid(getppid())) == 0;
            EXPECT_EQ(write(output, hasLeft ? "y" : "n", 1), 1);
            pause();
        },
        outputLimit);
    waitForOutput(child);
    const ChildResult result = resultOf(std::move(child), 0s);
    EXPECT_EQ(result.output, "y");
    EXPECT_EQ(WTERMSIG(result.waitStatus), SIGTERM);
}

TEST(EndedChild, LeavesNoProcessOfItsGroup) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0); // its writing end is open in all descendants
    resultOf(Child::call(
        [](int) {
            if (fork() == 0) {
                pause();
            }
        },
        outputLimit));
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0);
    close(ends[0]);
}

TEST(DestroyedChild, GetsSigtermAndTimeToEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    {
        const EventLoop blocksSignals({});
        const Child child = Child::call(
            [&ends](int output) {
                sigset_t set;
                sigemptyset(&set);
                sigaddset(&set, SIGTERM);
                sigprocmask(SIG_BLOCK, &set, nullptr);
                EXPECT_EQ(write(output, "x", 1), 1);
                int number = 0;
                sigwait(&set, &number);
                EXPECT_EQ(write(ends[1], "e", 1), 1);
            },
            outputLimit);
        waitForOutput(child);
    }
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1); // it was reaped
    close(ends[0]);
    close(ends[1]);
}

TEST(DestroyedChild, IsKilledIfItIgnoresSigterm) {
    {
        const EventLoop blocksSignals({});
        const Child child = shell("trap '' TERM; echo ready; exec sleep infinity");
        waitForOutput(child);
    }
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1);
}

TEST(Child, ThrowsIfThereIsNoProcessOrDescriptorLeft) {
    for (const char* const function : {"fork", "fcntl"}) {
        SCOPED_TRACE(function);
        const FailingCall failing(function, EAGAIN);
        EXPECT_THROW(shell("exit"), std::system_error);
        EXPECT_THROW(Child::call([](int) {}, outputLimit), std::system_error);
    }
    for (const rlim_t count : {0U, 1U, 2U, 3U, 4U}) { // two pipes and the null device
        SCOPED_TRACE(count);
        const DescriptorLimit limit(count);
        EXPECT_THROW(shell("exit"), std::system_error);
    }
    const DescriptorLimit limit(0);
    EXPECT_THROW(Child::call([](int) {}, outputLimit), std::system_error);
    EXPECT_THROW(EventLoop({}), std::system_error);
}

TEST(EventLoop, GivesItsChildrenTimeToEndIfItIsDestroyed) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    {
        EventLoop loop({});
        Child child =
            Child::execute({"/bin/sh", "-c",
                            "trap 'cat /proc/self/status >/dev/null; echo ended >&$0; exit' TERM; "
                            "echo ready; while :; do read -r line </proc/uptime; done",
                            std::to_string(ends[1])},
                           outputLimit);
        waitForOutput(child);
        loop.add(std::move(child), Clock::now() + 1min, [](const ChildResult&) {});
    }
    pollfd polled{ends[0], POLLIN, 0};
    EXPECT_EQ(poll(&polled, 1, 0), 1);
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1); // it was reaped
    close(ends[0]);
    close(ends[1]);
}

TEST(EventLoop, IsInterruptedByASignalThatIsNotIgnored) {
    std::signal(SIGHUP, SIG_IGN);
    sigset_t before;
    sigprocmask(SIG_BLOCK, nullptr, &before);
    {
        EventLoop loop({});
        loop.add(shell("exit"), Clock::now() + 1min, [](const ChildResult&) {});
        raise(SIGHUP);
        loop.run();
        EXPECT_EQ(loop.childCount(), 0U);
        loop.add(shell("exec sleep infinity"), Clock::now() + 1min, [](const ChildResult&) {});
        raise(SIGTERM);
        try {
            loop.run();
            FAIL();
        } catch (const Interrupted& interrupted) {
            EXPECT_EQ(interrupted.signalNumber, SIGTERM);
        }
    }
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1); // no child is left
    sigset_t after;
    sigprocmask(SIG_BLOCK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGCHLD), sigismember(&before, SIGCHLD));
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
    std::signal(SIGHUP, SIG_DFL);
}

TEST(EventLoop, RunsChildrenThatAreAddedMeanwhile) {
    EventLoop loop({});
    std::string order;
    loop.add(shell("echo a"), Clock::now() + 1min, [&](const ChildResult& first) {
        order += first.output;
        loop.add(shell("echo b"), Clock::now() + 1min,
                 [&](const ChildResult& second) { order += second.output; });
    });
    loop.run();
    EXPECT_EQ(order, "a\nb\n");
}

TEST(EventLoop, TicksEvenIfOutputArrivesAllTheTime) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    EventLoop loop([&ends] { EXPECT_EQ(write(ends[1], "x", 1), 1); });
    const auto waitForTick = [&ends](int output) {
        pollfd polled{ends[0], POLLIN, 0};
        while (poll(&polled, 1, 10) == 0) {
            EXPECT_EQ(write(output, "x", 1), 1);
        }
    };
    int status = -1;
    loop.add(Child::call(waitForTick, outputLimit), Clock::now() + 1min,
             [&status](const ChildResult& result) { status = result.waitStatus; });
    loop.run();
    EXPECT_EQ(status, 0);
    close(ends[0]);
    close(ends[1]);
}

} // namespace keldo::inspect
