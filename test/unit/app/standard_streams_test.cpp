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
std::deque<int> dup2Errors; // the errno of each dup2(), then the real ones

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

/// The open descriptors and the files that they lead to.
using Descriptors = std::map<int, std::string>;

Descriptors descriptors() {
    Descriptors result;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the directory's own descriptor is closed by then
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!target.string().starts_with("/proc/")) {
            result[std::stoi(entry.path().filename())] = target.string();
        }
    }
    return result;
}

/// The tests of one stream and its two functions. Nothing is expected before the stream is back,
/// since the test framework writes to it.
struct Stream {
    int number;
    void (*redirect)();
    void (*restore)();
};

// The name of the stream, in the names of the tests.
void PrintTo(const Stream& stream, std::ostream* out) {
    *out << (stream.number == STDOUT_FILENO ? "Output" : "Error");
}

class StandardStream : public testing::TestWithParam<Stream> {
protected:
    StandardStream() : kept(fcntl(stream, F_DUPFD_CLOEXEC, 100)) {}
    ~StandardStream() override {
        nullDeviceFails = false;
        dupFails = false;
        dup2Errors.clear();
        GetParam().restore();
        dup2(kept, stream);
        close(kept);
    }

    static void redirect() { GetParam().redirect(); }
    static void restore() { GetParam().restore(); }

    const int stream = GetParam().number;
    const int kept;
};

TEST_P(StandardStream, LeadsToTheNullDeviceWhileTheRealOneIsKept) {
    const Descriptors before = descriptors();
    redirect();
    const Descriptors during = descriptors();
    restore();
    ASSERT_EQ(before.size() + 1, during.size());
    Descriptors expected = before;
    expected[stream] = "/dev/null";
    int saved = -1;
    for (const auto& [fd, target] : during) {
        if (before.count(fd) == 0) {
            saved = fd;
        }
    }
    expected[saved] = before.at(stream);
    EXPECT_EQ(expected, during);
}

TEST_P(StandardStream, IsBackAfterwardsAndNothingElseIsLeft) {
    const Descriptors before = descriptors();
    redirect();
    restore();
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, IsInheritedByChildrenAndTheRealOneIsNot) {
    const Descriptors before = descriptors();
    redirect();
    const int silencedFlags = fcntl(stream, F_GETFD);
    int savedFlags = -1;
    for (const auto& [fd, target] : descriptors()) {
        if (before.count(fd) == 0) {
            savedFlags = fcntl(fd, F_GETFD);
        }
    }
    restore();
    EXPECT_EQ(0, silencedFlags);
    EXPECT_EQ(FD_CLOEXEC, savedFlags);
    EXPECT_EQ(0, fcntl(stream, F_GETFD));
}

TEST_P(StandardStream, IsNotKeptOpenByAChildThatExecutesNothing) {
    int fromChild[2] = {};
    ASSERT_EQ(0, pipe(fromChild));
    Descriptors expected = descriptors();
    expected[stream] = "/dev/null";
    redirect();
    const pid_t child = fork();
    if (child == 0) {
        const bool isKept = descriptors() != expected;
        static_cast<void>(!write(fromChild[1], isKept ? "y" : "n", 1));
        _exit(0);
    }
    char answer = '?';
    EXPECT_EQ(1, read(fromChild[0], &answer, 1));
    waitpid(child, nullptr, 0);
    close(fromChild[0]);
    close(fromChild[1]);
    restore();
    EXPECT_EQ('n', answer);
}

TEST_P(StandardStream, IsOpenedForWritingOnly) {
    redirect();
    restore();
    EXPECT_EQ(O_WRONLY, nullDeviceFlags & ~O_LARGEFILE);
}

TEST_P(StandardStream, IsNotRedirectedTwice) {
    const Descriptors before = descriptors();
    redirect();
    const Descriptors once = descriptors();
    redirect();
    const Descriptors twice = descriptors();
    restore();
    EXPECT_EQ(once, twice);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, IsNotRestoredTwice) {
    const Descriptors before = descriptors();
    restore();
    EXPECT_EQ(before, descriptors());
    redirect();
    restore();
    restore();
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, CanBeRedirectedAgain) {
    const Descriptors before = descriptors();
    redirect();
    const Descriptors first = descriptors();
    restore();
    redirect();
    const Descriptors second = descriptors();
    restore();
    EXPECT_EQ(first, second);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, StaysWhereItIsWithoutANullDevice) {
    const Descriptors before = descriptors();
    nullDeviceFails = true;
    redirect();
    const Descriptors during = descriptors();
    restore();
    EXPECT_EQ(before, during);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, StaysWhereItIsWithoutADescriptorToKeepItOn) {
    const Descriptors before = descriptors();
    dupFails = true;
    redirect();
    const Descriptors during = descriptors();
    restore();
    EXPECT_EQ(before, during);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, StaysWhereItIsWhereTheNullDeviceCannotTakeItsNumber) {
    const Descriptors before = descriptors();
    dup2Errors = {EBUSY, EBUSY};
    redirect();
    const Descriptors during = descriptors();
    restore();
    EXPECT_EQ(before, during);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, IsRedirectedAndRestoredInSpiteOfSignals) {
    const Descriptors before = descriptors();
    dup2Errors = {EINTR, EINTR};
    redirect();
    const std::string during = descriptors().at(stream);
    dup2Errors = {EINTR};
    restore();
    EXPECT_EQ("/dev/null", during);
    EXPECT_EQ(before, descriptors());
}

TEST_P(StandardStream, TakesTheNullDevicesOwnDescriptorWhereThatIsItsNumber) {
    const Descriptors before = descriptors();
    close(stream);
    redirect();
    const Descriptors during = descriptors();
    restore();
    const Descriptors after = descriptors();
    dup2(kept, stream);
    Descriptors expected = before;
    expected[stream] = "/dev/null"; // there was no real one to come back to
    EXPECT_EQ(expected, during);
    EXPECT_EQ(expected, after);
}

INSTANTIATE_TEST_SUITE_P(Both, StandardStream,
                         testing::Values(Stream{STDOUT_FILENO, redirectStdout, restoreStdout},
                                         Stream{STDERR_FILENO, redirectStderr, restoreStderr}),
                         [](const auto& param) { return testing::PrintToString(param.param); });

/// What is on standard output after this, and whether messages go there.
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

    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
};

TEST_F(SilencedOutput, TakesTheMessagesThatWouldSpoilTheReport) {
    redirectStdout();
    redirectStdout();
    const int during = messages_on_stdout;
    restoreStdout();
    EXPECT_EQ(1, during);
}

TEST_F(SilencedOutput, TakesTheMessagesAlsoWhereItWasClosed) {
    close(STDOUT_FILENO);
    redirectStdout();
    const int during = messages_on_stdout;
    restoreStdout();
    EXPECT_EQ(1, during);
}

TEST_F(SilencedOutput, GetsNoMessagesWhereItCannotBeSilenced) {
    struct {
        bool nullDevice, dup;
        std::deque<int> dup2;
    } const failures[] = {{true, false, {}}, {false, true, {}}, {false, false, {EBUSY}}};
    for (const auto& failure : failures) {
        nullDeviceFails = failure.nullDevice;
        dupFails = failure.dup;
        dup2Errors = failure.dup2;
        redirectStdout();
        redirectStdout();
        const int during = messages_on_stdout;
        dup2Errors.clear();
        restoreStdout();
        EXPECT_EQ(0, during);
        EXPECT_EQ(1, messages_on_stdout);
    }
}

TEST_F(SilencedOutput, ThatCannotBePutBackIsAnError) {
    redirectStdout();
    dup2Errors = {EINTR, EBUSY};
    EXPECT_THAT(restoreStdout,
                ThrowsMessage<std::system_error>(StartsWith("standard output is lost")));
    restoreStdout(); // what was kept is closed
    EXPECT_EQ("/dev/null", descriptors().at(STDOUT_FILENO));
}

TEST_F(SilencedOutput, ThatCannotBePutBackIsAnErrorWithItsOwnReason) {
    const int copy = dup(STDIN_FILENO); // the number that the copy of standard output gets
    close(copy);
    redirectStdout();
    close(copy); // closing it again fails with EBADF
    dup2Errors = {EBUSY};
    try {
        restoreStdout();
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(EBUSY, error.code().value());
    }
}

TEST(StandardStreams, AreRedirectedAndRestoredEachOnItsOwn) {
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
