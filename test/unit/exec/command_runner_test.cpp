// SPDX-License-Identifier: MIT

#include "exec/command_runner.h"

#include "exec/process_state.h"
#include "exec/unique_fd.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <new>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using keldo::CommandResult;
using keldo::programName;
using keldo::runCommand;
using keldo::RunningCommand;
using keldo::UniqueFd;
using keldo::test::contentOf;
using keldo::test::TemporaryDirectory;
using testing::Each;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::Not;
using testing::StrEq;

namespace {

/// One answer of read(): data, or an errno if there is no data.
struct ReadAnswer {
    std::string data;
    int error = 0;
    bool throwsBadAlloc = false;
};

/// Forced answers of the wrapped functions.
struct Answers {
    bool pipeFails = false;
    bool forkFails = false;
    bool forkAborts = false; // fork() aborts the process, since the test expects no fork
    bool systemFails = false;
    std::map<int, std::deque<int>> duplications = {}; // descriptor -> errno of each dup2() onto it
    int interruptedWaits = 0;
    bool waitFails = false;
    std::optional<int> waitStatus = {};
    std::deque<ReadAnswer> reads = {}; // after these, the real read()
};
Answers answers;

std::vector<size_t> readSizes;
std::vector<int> waitOptions;
std::set<std::string> descriptorsAtWait;

std::set<std::string> openDescriptors() {
    std::set<std::string> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(entry.path().filename().string());
    }
    return descriptors;
}

} // namespace

extern "C" {
pid_t __real_fork();
int __real_dup2(int old, int fd);
int __real_pipe(int* ends);
ssize_t __real_read(int fd, void* buffer, size_t size);
int __real_system(const char* command);
pid_t __real_waitpid(pid_t child, int* status, int options);

pid_t __wrap_fork();
int __wrap_dup2(int old, int fd);
int __wrap_pipe(int* ends);
ssize_t __wrap_read(int fd, void* buffer, size_t size);
int __wrap_system(const char* command);
pid_t __wrap_waitpid(pid_t child, int* status, int options);

int __wrap_dup2(int old, int fd) {
    std::deque<int>& errors = answers.duplications[fd];
    if (errors.empty()) {
        return __real_dup2(old, fd);
    }
    errno = errors.front();
    errors.pop_front();
    return -1;
}

pid_t __wrap_fork() {
    if (answers.forkAborts) {
        std::abort();
    }
    if (!answers.forkFails) {
        return __real_fork();
    }
    errno = EAGAIN;
    return -1;
}

int __wrap_pipe(int* ends) {
    if (!answers.pipeFails) {
        return __real_pipe(ends);
    }
    errno = EMFILE;
    return -1;
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    readSizes.push_back(size);
    if (answers.reads.empty()) {
        return __real_read(fd, buffer, size);
    }
    const ReadAnswer answer = answers.reads.front();
    answers.reads.pop_front();
    if (answer.throwsBadAlloc) {
        throw std::bad_alloc();
    }
    if (answer.data.empty()) {
        errno = answer.error;
        return answer.error == 0 ? 0 : -1;
    }
    const size_t count = std::min(size, answer.data.size());
    memcpy(buffer, answer.data.data(), count);
    return static_cast<ssize_t>(count);
}

int __wrap_system(const char* command) {
    if (!answers.systemFails) {
        return __real_system(command);
    }
    errno = EAGAIN;
    return -1;
}

pid_t __wrap_waitpid(pid_t child, int* status, int options) {
    waitOptions.push_back(options);
    descriptorsAtWait = openDescriptors();
    if (answers.interruptedWaits > 0) {
        --answers.interruptedWaits;
        errno = EINTR;
        return -1;
    }
    if (answers.waitFails) {
        errno = ECHILD;
        return -1;
    }
    const pid_t waited = __real_waitpid(child, status, options);
    *status = answers.waitStatus.value_or(*status);
    return waited;
}
}

namespace keldo {

// Let expectations compare and print whole results.
bool operator==(const CommandResult& left, const CommandResult& right) {
    return left.status == right.status && left.output == right.output;
}

std::ostream& operator<<(std::ostream& out, const CommandResult& result) {
    return out << result.status << " \"" << result.output << '"';
}

} // namespace keldo

namespace {

bool hasChildren() {
    return wait3(nullptr, WNOHANG, nullptr) != -1 || errno != ECHILD;
}

class CommandRunner : public testing::Test {
protected:
    void SetUp() override {
        answers = {};
        readSizes.clear();
        waitOptions.clear();
        programName = "keldoctl";
    }
    void TearDown() override {
        answers = {};
        programName.clear();
        EXPECT_EQ(openDescriptors(), descriptorsBefore); // whatever the test did
        EXPECT_FALSE(hasChildren());
    }

private:
    const std::set<std::string> descriptorsBefore = openDescriptors();
};

using CommandRunnerFailure = CommandRunner;

CommandResult result(int status, const std::string& output) {
    return {status, output};
}

} // namespace

// The command's course.

TEST_F(CommandRunner, RunsWhileItsOwnerDoesSomethingElse) {
    const TemporaryDirectory directory;
    const std::string fifo = (directory.path() / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
    RunningCommand command("read word < " + fifo + "; echo \"read $word\"", false);
    std::ofstream(fifo) << "text\n";
    EXPECT_EQ(std::move(command).result(), result(0, "read text\n"));
    EXPECT_FALSE(hasChildren());
}

TEST_F(CommandRunner, EndsBeforeTheDestructorReturns) {
    const TemporaryDirectory directory;
    const std::string end = (directory.path() / "end").string();
    { const RunningCommand command("head -c 200000 /dev/zero; echo end > " + end, false); }
    EXPECT_EQ(contentOf(end), "end\n");
}

// Status.

TEST_F(CommandRunner, YieldsEveryExitCode) {
    for (int code = 0; code < 256; code += 15) {
        SCOPED_TRACE(code);
        EXPECT_EQ(runCommand("exit " + std::to_string(code), true), result(code, ""));
    }
}

TEST_F(CommandRunner, YieldsTheExitCodeOfTheShellAndMinusOneIfItsParentIsKilled) {
    const struct {
        const char* command;
        CommandResult expected;
    } rows[] = {
        {"exec 2>/dev/null; /nonexistent/command", {127, ""}},
        {"exec 2>/dev/null; sh -c 'kill -9 $$'; exit $?", {128 + 9, ""}},
        {"echo before; kill -9 $$; echo after", {0, "before\n"}},
        {"kill -TERM $$; exit 3", {0, ""}},
        {"echo before; kill -9 $PPID", {-1, "before\n"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        EXPECT_EQ(runCommand(row.command, false), row.expected);
        EXPECT_FALSE(hasChildren());
    }
}

TEST_F(CommandRunner, DecodesTheWaitStatus) {
    struct Row {
        int waitStatus;
        int status;
    };
    for (const Row row :
         {Row{0x0000, 0}, Row{0x0100, 1}, Row{0x7f00, 127}, Row{0x8000, 128}, Row{0xff00, 255},
          Row{9, -1}, Row{0x80 | 11, -1}, Row{0x0301, -1}, Row{0x137f, -1}, Row{0x0380, 3}}) {
        SCOPED_TRACE(row.waitStatus);
        answers.waitStatus = row.waitStatus;
        EXPECT_EQ(runCommand("echo text", false), result(row.status, "text\n"));
    }
}

TEST_F(CommandRunner, WaitsWithoutOptions) {
    runCommand("true", false);
    EXPECT_EQ(waitOptions, std::vector<int>{0});
}

// Output.

TEST_F(CommandRunner, CapturesStandardErrorInTheOrderWrittenOnlyIfAsked) {
    for (const bool captureStderr : {false, true}) {
        SCOPED_TRACE(captureStderr);
        testing::internal::CaptureStderr();
        const CommandResult captured =
            runCommand("echo one; echo two >&2; echo three; exit 2", captureStderr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), captureStderr ? "" : "two\n");
        EXPECT_EQ(captured, result(2, captureStderr ? "one\ntwo\nthree\n" : "one\nthree\n"));
    }
}

TEST_F(CommandRunner, PrintsNothingItself) {
    testing::internal::CaptureStdout();
    runCommand("echo text", true);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(CommandRunner, RunsTheCommandLineInTheShell) {
    EXPECT_EQ(runCommand("X='a  b'; printf '%s\\n' \"$X\" | tr a-z A-Z && echo $((1 + 2))", false),
              result(0, "A  B\n3\n"));
}

TEST_F(CommandRunner, CapturesOutputOfManyReads) {
    for (const size_t size : {1022U, 1023U, 1024U, 5000U, 1048576U}) {
        SCOPED_TRACE(size);
        const std::string command =
            "head -c " + std::to_string(size) + " /dev/zero | tr '\\0' x; exit 4";
        EXPECT_EQ(runCommand(command, true), result(4, std::string(size, 'x')));
    }
}

TEST_F(CommandRunner, ReadsAtMost1023BytesAtATime) {
    runCommand("head -c 5000 /dev/zero", false);
    EXPECT_GT(readSizes.size(), 4U);
    EXPECT_THAT(readSizes, Each(1023U));
}

TEST_F(CommandRunner, DropsTheRestOfAChunkAfterANulByte) {
    using namespace std::string_literals;
    const TemporaryDirectory directory;
    const std::string a(500, 'a');
    const std::string b(1023, 'b');
    const struct {
        std::string written; // at once, since a pipe takes it whole
        std::string captured;
    } rows[] = {
        {"ab\0cd"s, "ab"},
        {"\0ab"s, ""},
        {a + "\0"s + std::string(522, 'x') + b + "c\0d"s, a + b + "c"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.captured);
        EXPECT_EQ(runCommand("cat " + directory.write("output", row.written), false),
                  result(0, row.captured));
    }
}

TEST_F(CommandRunner, KeepsTheChunksAfterAChunkWithANulByte) {
    using namespace std::string_literals;
    answers.reads = {{"ab\0cd\0ef"s}, {"\0gh"s}, {"ij"}, {"k\0"s}, {"", 0}};
    EXPECT_EQ(runCommand("true", false), result(0, "abijk"));
}

TEST_F(CommandRunner, WaitsUntilDescendantsHaveClosedTheOutputToo) {
    const TemporaryDirectory directory;
    const std::string pipe = (directory.path() / "pipe").string();
    // The background process reads a pipe whose only writer is the shell, so it continues when the
    // shell has ended.
    EXPECT_EQ(runCommand("mkfifo " + pipe + "; exec 3<>" + pipe + " 4<" + pipe +
                             "; { cat; echo late; } <&4 3>&- & exec 4<&-; exit 5",
                         false),
              result(5, "late\n"));
}

// What the child shares with the program.

TEST_F(CommandRunner, InheritsStandardInput) {
    const TemporaryDirectory directory;
    const UniqueFd saved(dup(STDIN_FILENO));
    const UniqueFd file(open(directory.write("input", "typed\n").c_str(), O_RDONLY | O_CLOEXEC));
    dup2(file.get(), STDIN_FILENO);
    const CommandResult captured = runCommand("cat", false);
    dup2(saved.get(), STDIN_FILENO);
    EXPECT_EQ(captured, result(0, "typed\n"));
}

TEST_F(CommandRunner, InheritsOtherDescriptors) {
    const UniqueFd other(fcntl(STDIN_FILENO, F_DUPFD, 100));
    EXPECT_EQ(runCommand("test -e /proc/$$/fd/" + std::to_string(other.get()), false),
              result(0, ""));
}

TEST_F(CommandRunner, GivesTheCommandThePipeAsItsStandardStreamsOnly) {
    const std::string command = "for fd in /proc/$$/fd/*; do "
                                "[ $fd -ef /proc/$$/fd/1 ] && echo ${fd##*/}; done; true";
    EXPECT_EQ(runCommand(command, false), result(0, "1\n"));
    EXPECT_EQ(runCommand(command, true), result(0, "1\n2\n"));
}

TEST_F(CommandRunner, ClosesThePipeBeforeItWaits) {
    const std::set<std::string> before = openDescriptors();
    runCommand("true", false);
    EXPECT_EQ(descriptorsAtWait, before);
}

TEST_F(CommandRunner, DoesNotFlushTheProgramsBuffersInTheChild) {
    const TemporaryDirectory directory;
    const std::string path = (directory.path() / "buffered").string();
    FILE* const file = fopen(path.c_str(), "w");
    fputs("pending", file);
    for (const bool systemFails : {false, true}) {
        SCOPED_TRACE(systemFails);
        answers.systemFails = systemFails;
        runCommand("true", true);
        EXPECT_EQ(contentOf(path), "");
    }
    fclose(file);
    EXPECT_EQ(contentOf(path), "pending");
}

TEST_F(CommandRunner, DoesNotRunTheProgramsExitHandlersInTheChild) {
    for (const bool systemFails : {false, true}) {
        SCOPED_TRACE(systemFails);
        EXPECT_EXIT(
            {
                atexit([] { static_cast<void>(!write(STDERR_FILENO, "handler\n", 8)); });
                answers.systemFails = systemFails;
                const CommandResult captured = runCommand("true", true);
                fprintf(stderr, "%s\n", captured.output.c_str());
                exit(0);
            },
            ExitedWithCode(0),
            StrEq(systemFails ? "keldoctl: failed to execute a command -- true\nhandler\n"
                              : "\nhandler\n"));
    }
}

TEST_F(CommandRunner, GivesTheCommandTheDefaultActionsOfSigpipeAndSigxfsz) {
    const auto pipe = std::signal(SIGPIPE, SIG_IGN);
    const auto fileSize = std::signal(SIGXFSZ, SIG_IGN);
    const CommandResult captured = runCommand("grep SigIgn /proc/self/status", false);
    std::signal(SIGPIPE, pipe);
    std::signal(SIGXFSZ, fileSize);
    const std::string mask = captured.output.substr(captured.output.find('\t') + 1);
    const unsigned long long ignored = std::stoull(mask, nullptr, 16);
    EXPECT_EQ(ignored & (1ULL << (SIGPIPE - 1) | 1ULL << (SIGXFSZ - 1)), 0U) << mask;
}

// Failures.

TEST_F(CommandRunnerFailure, LetsTheCommandEndIfThereIsNoMemoryForItsOutput) {
    const TemporaryDirectory directory;
    const std::string end = (directory.path() / "end").string();
    answers.reads = {{"text"}, {"", 0, true}, {"", EINTR}};
    EXPECT_THROW(runCommand("head -c 200000 /dev/zero; echo text; echo end > " + end, false),
                 std::bad_alloc);
    EXPECT_EQ(contentOf(end), "end\n");
}

TEST_F(CommandRunnerFailure, RunsNothingIfTheOutputCannotBeCaptured) {
    const TemporaryDirectory directory;
    const std::string trace = (directory.path() / "trace").string();
    const std::string command = "echo ran > " + trace;
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        SCOPED_TRACE(stream);
        testing::internal::CaptureStderr();
        answers.duplications[stream] = {EBUSY};
        const CommandResult captured = runCommand(command, true);
        answers.duplications.clear(); // the child used up its own copy
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "keldoctl: failed to execute a command -- " + command);
        EXPECT_EQ(captured, result(255, ""));
        EXPECT_FALSE(std::filesystem::exists(trace));
    }
    answers.duplications[STDERR_FILENO] = {EBUSY};
    EXPECT_EQ(runCommand("echo text", false), result(0, "text\n")); // not asked for
}

TEST_F(CommandRunnerFailure, IsReportedInTheResultWithTheProgramsName) {
    const struct {
        Answers answers;
        CommandResult expected;
    } rows[] = {
        {{.pipeFails = true, .forkAborts = true},
         {-1, "other: failed to create a pair of file descriptors"}},
        {{.forkFails = true}, {-1, "other: failed to create a child process"}},
        {{.waitFails = true}, {-1, "other: failed to suspends execution"}},
        {{.systemFails = true}, {255, "other: failed to execute a command -- echo text"}},
    };
    programName = "other";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected.output);
        answers = row.answers;
        EXPECT_EQ(runCommand("echo text", true), row.expected);
        answers = {};
        EXPECT_EQ(wait(nullptr) != -1, row.answers.waitFails); // otherwise no child is left
    }
}

TEST_F(CommandRunnerFailure, IsPrintedOnStandardErrorIfTheShellCannotBeStarted) {
    answers.systemFails = true;
    testing::internal::CaptureStderr();
    const CommandResult captured = runCommand("some command --now", false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "keldoctl: failed to execute a command -- some command --now");
    EXPECT_EQ(captured, result(255, ""));
}

TEST_F(CommandRunnerFailure, EndsTheOutputAtAFailedRead) {
    answers.reads = {{"ab"}, {"", EIO}};
    EXPECT_EQ(runCommand("exit 3", false), result(3, "ab"));
}

TEST_F(CommandRunnerFailure, DoesNotOccurIfASignalInterruptsACall) {
    answers.duplications[STDOUT_FILENO] = {EINTR, EINTR};
    answers.duplications[STDERR_FILENO] = {EINTR};
    answers.reads = {{"", EINTR}, {"", EINTR}, {"ab"}, {"", EINTR}};
    answers.interruptedWaits = 2;
    EXPECT_EQ(runCommand("echo text; echo text >&2; exit 3", true), result(3, "abtext\ntext\n"));
}
