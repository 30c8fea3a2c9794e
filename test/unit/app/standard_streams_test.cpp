// SPDX-License-Identifier: MIT

#include "app/standard_streams.h"

#include "conf/messages.h"

#include <cerrno>
#include <cstdarg>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

bool nullDeviceFails = false;
int nullDeviceFlags = -1;

bool dupFails = false;
std::deque<int> dup2Errors; // the errno of each dup2(); after these, the real dup2()

} // namespace

extern "C" {
int __real_dup(int fd);
int __wrap_dup(int fd);
int __real_dup2(int old, int fd);
int __wrap_dup2(int old, int fd);
int __real_open64(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...);
}

int __wrap_dup(int fd) {
    if (dupFails) {
        errno = EMFILE;
        return -1;
    }
    return __real_dup(fd);
}

int __wrap_dup2(int old, int fd) {
    if (dup2Errors.empty()) {
        return __real_dup2(old, fd);
    }
    errno = dup2Errors.front();
    dup2Errors.pop_front();
    return -1;
}

int __wrap_open64(const char* path, int flags, ...) {
    if (std::string_view(path) == "/dev/null") {
        nullDeviceFlags = flags;
        if (nullDeviceFails) {
            errno = ENOENT;
            return -1;
        }
        return __real_open64(path, flags);
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

namespace keldo {
namespace {

using testing::StartsWith;
using testing::ThrowsMessage;

/// The open descriptors and their targets.
using Descriptors = std::map<int, std::string>;

Descriptors descriptors() {
    Descriptors result;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the descriptor may be closed: no target then
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!target.string().starts_with("/proc/")) {
            result[std::stoi(entry.path().filename())] = target.string();
        }
    }
    return result;
}

/// One stream and its two functions. Tests check expectations after restoring the stream, since the
/// test framework writes to it.
struct Stream {
    int number;
    void (*redirect)();
    void (*restore)();
};

/// Prints the stream's part of a test's name.
void PrintTo(const Stream& stream, std::ostream* out) {
    *out << (stream.number == STDOUT_FILENO ? "Output" : "Error");
}

/// Expects each test to leave the descriptors as they were.
class StandardStream : public testing::TestWithParam<Stream> {
protected:
    ~StandardStream() override {
        nullDeviceFails = false;
        dupFails = false;
        dup2Errors.clear();
        restore();
        dup2(kept, stream);
        EXPECT_EQ(before, descriptors());
        close(kept);
    }

    static void redirect() { GetParam().redirect(); }
    static void restore() { GetParam().restore(); }

    /// The descriptors after a redirection, which is undone.
    static Descriptors whileRedirected() {
        redirect();
        Descriptors during = descriptors();
        restore();
        return during;
    }

    /// `before` with the stream on the null device.
    Descriptors silenced() const {
        Descriptors expected = before;
        expected[stream] = "/dev/null";
        return expected;
    }

    /// The lowest free descriptor. A redirection keeps the real stream on it.
    static int nextDescriptor() {
        const int next = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
        close(next);
        return next;
    }

    const int stream = GetParam().number;
    const int kept = fcntl(stream, F_DUPFD_CLOEXEC, 100);
    const Descriptors before = descriptors();
};

TEST_P(StandardStream, IsTheNullDeviceWhileTheRealStreamIsKept) {
    Descriptors expected = silenced();
    expected[nextDescriptor()] = before.at(stream);
    EXPECT_EQ(expected, whileRedirected());
    EXPECT_EQ(before, descriptors());
    EXPECT_EQ(O_WRONLY, nullDeviceFlags & ~O_LARGEFILE);
}

TEST_P(StandardStream, IsInheritedByChildrenAndTheRealStreamIsNot) {
    const int saved = nextDescriptor();
    redirect();
    const int silencedFlags = fcntl(stream, F_GETFD);
    const int savedFlags = fcntl(saved, F_GETFD);
    restore();
    EXPECT_EQ(0, silencedFlags);
    EXPECT_EQ(FD_CLOEXEC, savedFlags);
    EXPECT_EQ(0, fcntl(stream, F_GETFD));
}

TEST_P(StandardStream, IsNotKeptByAChildThatExecutesNothing) {
    const Descriptors expected = silenced();
    redirect();
    const pid_t child = fork();
    if (child == 0) {
        _exit(descriptors() == expected ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    restore();
    EXPECT_EQ(0, status);
}

TEST_P(StandardStream, MayBeRedirectedAndRestoredRepeatedly) {
    restore();
    EXPECT_EQ(before, descriptors());
    const Descriptors once = whileRedirected();
    redirect();
    EXPECT_EQ(once, whileRedirected()); // the second redirection does nothing
    restore();
    EXPECT_EQ(before, descriptors());
}

/// The ways in which a redirection fails.
const struct {
    bool nullDevice;
    bool dup;
    std::deque<int> dup2;
} failures[] = {{true, false, {}}, {false, true, {}}, {false, false, {EBUSY, EBUSY}}};

TEST_P(StandardStream, IsLeftAsItIsIfItCannotBeSilenced) {
    for (const auto& failure : failures) {
        nullDeviceFails = failure.nullDevice;
        dupFails = failure.dup;
        dup2Errors = failure.dup2;
        EXPECT_EQ(before, whileRedirected());
    }
}

TEST_P(StandardStream, IsRedirectedAndRestoredDespiteSignals) {
    dup2Errors = {EINTR, EINTR};
    redirect();
    const std::string during = descriptors().at(stream);
    dup2Errors = {EINTR};
    restore();
    EXPECT_EQ("/dev/null", during);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, StaysOnTheNullDeviceIfItWasClosed) {
    close(stream);
    const Descriptors during = whileRedirected();
    const Descriptors after = descriptors();
    dup2(kept, stream);
    EXPECT_EQ(silenced(), during);
    EXPECT_EQ(silenced(), after);
}

INSTANTIATE_TEST_SUITE_P(Both, StandardStream,
                         testing::Values(Stream{STDOUT_FILENO, redirectStdout, restoreStdout},
                                         Stream{STDERR_FILENO, redirectStderr, restoreStderr}),
                         [](const auto& param) { return testing::PrintToString(param.param); });

/// Restores standard output and the setting of the messages.
class SilencedOutput : public testing::Test {
protected:
    ~SilencedOutput() override {
        nullDeviceFails = false;
        dupFails = false;
        dup2Errors.clear();
        restoreStdout();
        dup2(kept, STDOUT_FILENO);
        close(kept);
        messages_on_stdout = 1;
    }

    /// Whether messages go to standard output while it is redirected.
    static int messagesWhileRedirected() {
        redirectStdout();
        redirectStdout();
        const int during = messages_on_stdout;
        dup2Errors.clear();
        restoreStdout();
        return during;
    }

    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
};

TEST_F(SilencedOutput, TakesMessagesEvenIfItWasClosed) {
    EXPECT_EQ(1, messagesWhileRedirected());
    close(STDOUT_FILENO);
    const int afterClose = messagesWhileRedirected();
    dup2(kept, STDOUT_FILENO);
    EXPECT_EQ(1, afterClose);
}

TEST_F(SilencedOutput, GetsNoMessagesIfItCannotBeSilenced) {
    for (const auto& failure : failures) {
        nullDeviceFails = failure.nullDevice;
        dupFails = failure.dup;
        dup2Errors = failure.dup2;
        EXPECT_EQ(0, messagesWhileRedirected());
        EXPECT_EQ(1, messages_on_stdout);
    }
}

TEST_F(SilencedOutput, ThrowsIfItCannotBeRestored) {
    redirectStdout();
    dup2Errors = {EINTR, EBUSY};
    EXPECT_THAT(restoreStdout,
                ThrowsMessage<std::system_error>(StartsWith("standard output is lost")));
    restoreStdout(); // does nothing, since the copy is closed
    EXPECT_EQ("/dev/null", descriptors().at(STDOUT_FILENO));
}

TEST_F(SilencedOutput, ThrowsTheErrnoOfTheFailedDuplication) {
    const int copy = dup(STDIN_FILENO); // the number that the copy of standard output will get
    close(copy);
    redirectStdout();
    close(copy); // the second close() fails with EBADF
    dup2Errors = {EBUSY};
    try {
        restoreStdout();
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(EBUSY, error.code().value());
    }
}

TEST(StandardStreams, AreRedirectedAndRestoredIndependently) {
    const Descriptors before = descriptors();
    redirectStdout();
    redirectStderr();
    const Descriptors both = descriptors();
    restoreStderr();
    const Descriptors outputOnly = descriptors();
    restoreStdout();
    EXPECT_EQ("/dev/null", both.at(1));
    EXPECT_EQ("/dev/null", both.at(2));
    EXPECT_EQ(before.size() + 2, both.size());
    EXPECT_EQ("/dev/null", outputOnly.at(1));
    EXPECT_EQ(before.at(2), outputOnly.at(2));
    EXPECT_EQ(before, descriptors());
}

} // namespace
} // namespace keldo
