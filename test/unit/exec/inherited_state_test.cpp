// SPDX-License-Identifier: MIT

#include "exec/inherited_state.h"

#include "support/temporary_directory.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace keldo {
namespace {

/// What a test changes in its process is as before when it goes.
class InheritedState : public testing::Test {
protected:
    InheritedState() {
        sigprocmask(SIG_SETMASK, nullptr, &mask_);
        for (const int signal : {SIGCHLD, SIGPIPE, SIGXFSZ, SIGHUP}) {
            sigaction(signal, nullptr, &actions_[signal]);
        }
    }
    ~InheritedState() override {
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
        for (const int signal : {SIGCHLD, SIGPIPE, SIGXFSZ, SIGHUP}) {
            sigaction(signal, &actions_[signal], nullptr);
        }
        std::filesystem::current_path(directory_);
    }

    static void (*actionOf(int signal))(int) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        return action.sa_handler;
    }

private:
    sigset_t mask_;
    struct sigaction actions_[NSIG] = {};
    std::filesystem::path directory_ = std::filesystem::current_path();
};

TEST_F(InheritedState, HasNoSignalBlockedAfterwards) {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    makeInheritedStateSane();
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(1, sigisemptyset(&blocked));
}

TEST_F(InheritedState, LetsChildrenBeWaitedFor) {
    std::signal(SIGCHLD, SIG_IGN);
    makeInheritedStateSane();
    EXPECT_EQ(SIG_DFL, actionOf(SIGCHLD));
}

TEST_F(InheritedState, LetsAWriteFailThatNobodyReadsOrThatMayNotGrowItsFile) {
    makeInheritedStateSane();
    EXPECT_EQ(SIG_IGN, actionOf(SIGPIPE));
    EXPECT_EQ(SIG_IGN, actionOf(SIGXFSZ));
}

TEST_F(InheritedState, KeepsWhatACallerIgnoresOnPurpose) {
    std::signal(SIGHUP, SIG_IGN);
    makeInheritedStateSane();
    EXPECT_EQ(SIG_IGN, actionOf(SIGHUP));
}

TEST_F(InheritedState, LeavesADirectoryThatIsGone) {
    {
        const test::TemporaryDirectory removed;
        std::filesystem::current_path(removed.path());
    }
    makeInheritedStateSane();
    EXPECT_EQ("/", std::filesystem::current_path());
}

TEST_F(InheritedState, StaysInADirectoryThatIsThere) {
    const test::TemporaryDirectory directory;
    std::filesystem::current_path(directory.path());
    makeInheritedStateSane();
    EXPECT_TRUE(std::filesystem::equivalent(directory.path(), std::filesystem::current_path()));
}

TEST_F(InheritedState, HasNoFurtherDescriptorOpen) {
    const auto nextDescriptor = [] {
        const int next = dup(STDIN_FILENO);
        close(next);
        return next;
    };
    const int before = nextDescriptor();
    makeInheritedStateSane();
    EXPECT_EQ(before, nextDescriptor());
}

TEST_F(InheritedState, HasTheNullDeviceOnClosedStandardDescriptors) {
    const auto end = [] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            close(stream);
        }
        makeInheritedStateSane();
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            const std::string number = std::to_string(stream);
            if (std::filesystem::read_symlink("/proc/self/fd/" + number) != "/dev/null") {
                _exit(1);
            }
        }
        _exit((fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDWR ? 0 : 1);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace keldo
