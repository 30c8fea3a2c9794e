// SPDX-License-Identifier: MIT

#include "exec/process_state.h"

#include "exec/unique_fd.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// The errno with which close_range() fails; 0 for the real call.
int closeRangeError = 0;

} // namespace

extern "C" {
int __real_close_range(unsigned int first, unsigned int last, int flags);
int __wrap_close_range(unsigned int first, unsigned int last, int flags);

int __wrap_close_range(unsigned int first, unsigned int last, int flags) {
    if (closeRangeError == 0) {
        return __real_close_range(first, last, flags);
    }
    errno = closeRangeError;
    return -1;
}
}

namespace keldo {
namespace {

constexpr int signals[] = {SIGCHLD, SIGPIPE, SIGXFSZ, SIGHUP};

/// Restores what a test changes in its process.
class InheritedState : public testing::Test {
protected:
    InheritedState() {
        sigprocmask(SIG_SETMASK, nullptr, &mask_);
        for (const int signal : signals) {
            sigaction(signal, nullptr, &actions_[signal]);
        }
    }
    ~InheritedState() override {
        closeRangeError = 0;
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
        for (const int signal : signals) {
            sigaction(signal, &actions_[signal], nullptr);
        }
        std::filesystem::current_path(directory_);
    }

private:
    sigset_t mask_;
    struct sigaction actions_[NSIG] = {};
    std::filesystem::path directory_ = std::filesystem::current_path();
};

int nextDescriptor() {
    const UniqueFd next(dup(STDIN_FILENO));
    return next.get();
}

TEST_F(InheritedState, UnblocksAllSignals) {
    sigset_t blocked;
    sigfillset(&blocked);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
    makeInheritedStateSane();
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(1, sigisemptyset(&blocked));
}

TEST_F(InheritedState, ResetsSigchldIgnoresSigpipeAndSigxfszAndKeepsOtherActions) {
    const struct {
        int signal;
        void (*before)(int);
        void (*after)(int);
    } rows[] = {
        {SIGCHLD, SIG_IGN, SIG_DFL},
        {SIGPIPE, SIG_DFL, SIG_IGN},
        {SIGXFSZ, SIG_DFL, SIG_IGN},
        {SIGHUP, SIG_IGN, SIG_IGN},
    };
    for (const auto& row : rows) {
        std::signal(row.signal, row.before);
    }
    makeInheritedStateSane();
    for (const auto& row : rows) {
        struct sigaction action;
        sigaction(row.signal, nullptr, &action);
        EXPECT_EQ(row.after, action.sa_handler) << row.signal;
    }
}

TEST_F(InheritedState, ReplacesARemovedWorkingDirectory) {
    {
        const test::TemporaryDirectory removed;
        std::filesystem::current_path(removed.path());
    }
    makeInheritedStateSane();
    EXPECT_EQ("/", std::filesystem::current_path());
}

TEST_F(InheritedState, KeepsAnExistingWorkingDirectory) {
    const test::TemporaryDirectory directory;
    std::filesystem::current_path(directory.path());
    makeInheritedStateSane();
    EXPECT_TRUE(std::filesystem::equivalent(directory.path(), std::filesystem::current_path()));
}

TEST_F(InheritedState, OpensTheNullDeviceOnClosedStandardDescriptors) {
    const auto end = [] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            close(stream);
        }
        makeInheritedStateSane();
        for (const char* stream : {"0", "1", "2"}) {
            if (std::filesystem::read_symlink(std::string("/proc/self/fd/") + stream) !=
                "/dev/null") {
                _exit(1);
            }
        }
        _exit((fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDWR ? 0 : 1);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

TEST_F(InheritedState, ClosesOtherDescriptorsOnExecWithAndWithoutCloseRange) {
    for (const int error : {0, ENOSYS, EPERM, EINVAL}) {
        SCOPED_TRACE(error);
        closeRangeError = error;
        const UniqueFd low(dup(STDIN_FILENO));
        const UniqueFd high(fcntl(STDIN_FILENO, F_DUPFD, 200));
        const int before = nextDescriptor();
        makeInheritedStateSane();
        EXPECT_EQ(FD_CLOEXEC, fcntl(low.get(), F_GETFD));
        EXPECT_EQ(FD_CLOEXEC, fcntl(high.get(), F_GETFD));
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            EXPECT_EQ(0, fcntl(stream, F_GETFD)) << stream;
        }
        EXPECT_EQ(before, nextDescriptor()); // none is left open
    }
}

TEST(TakeArguments, SetsThePosixBaseNameAndReturnsTheOtherArguments) {
    const struct {
        std::vector<const char*> words;
        std::string name;
        std::vector<std::string> arguments;
    } rows[] = {
        {{"/usr/sbin/keldoctl", "--repair", ""}, "keldoctl", {"--repair", ""}},
        {{"a b"}, "a b", {}},
        {{"dir/name//"}, "name", {}},
        {{}, ".", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto words = row.words;
        words.push_back(nullptr);
        EXPECT_EQ(
            takeArguments(static_cast<int>(row.words.size()), const_cast<char**>(words.data())),
            row.arguments);
        EXPECT_EQ(programName, row.name);
    }
    programName.clear();
}

TEST(ProgramName, IsEmptyUntilSet) {
    EXPECT_EQ(programName, "");
}

} // namespace
} // namespace keldo
