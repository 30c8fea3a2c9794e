// SPDX-License-Identifier: MIT

#include "exec/command_runner.h"

#include "exec/program_name.h"
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
#include <memory>
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

/// One answer of read(): data, or, where there is none, an errno.
struct ReadAnswer {
    std::string data;
    int error = 0;
    bool hasNoMemory = false; // for the caller: throws std::bad_alloc
};

/// What the wrapped functions answer instead of doing their work.
struct Answers {
    bool pipeFails = false;
    bool forkFails = false;
    bool forkEnds = false; // the process, since there is to be none
    bool systemFails = false;
    std::map<int, std::deque<int>> duplications; // the errno of each dup2() onto a descriptor
    int interruptedWaits = 0;
    bool waitFails = false;
    std::optional<int> waitStatus;
    std::deque<ReadAnswer> reads; // then the real ones
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
    if (answers.forkEnds) {
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
    if (answer.hasNoMemory) {
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

// So that expectations can compare and show whole results.
bool operator==(const CommandResult& left, const CommandResult& right) {
    return left.status == right.status && left.output == right.output;
}

std::ostream& operator<<(std::ostream& out, const CommandResult& result) {
    return out << result.status << " \"" << result.output << '"';
}

} // namespace keldo

namespace {

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
    }
};

using CommandRunnerFailure = CommandRunner;

CommandResult result(int status, const std::string& output) {
    return {status, output};
}

bool hasChildren() {
    return wait3(nullptr, WNOHANG, nullptr) != -1 || errno != ECHILD;
}

} // namespace

// Time.

TEST_F(CommandRunner, RunsWhileItsOwnerDoesSomethingElse) {
    const TemporaryDirectory directory;
    const std::string fifo = (directory.path() / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
    RunningCommand command("read word < " + fifo + "; echo \"read $word\"", false);
    std::ofstream(fifo) << "text\n";
    EXPECT_EQ(std::move(command).result(), result(0, "read text\n"));
    EXPECT_FALSE(hasChildren());
}

TEST_F(CommandRunner, EndsBeforeItsOwnerWhereNobodyAsksForTheResult) {
    const TemporaryDirectory directory;
    const std::string end = (directory.path() / "end").string();
    const std::set<std::string> before = openDescriptors();
    { const RunningCommand command("head -c 200000 /dev/zero; echo end > " + end, false); }
    EXPECT_EQ(contentOf(end), "end\n");
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
}

// Status.

TEST_F(CommandRunner, YieldsTheExitCodeAndNoOutputOfASilentCommand) {
    EXPECT_EQ(runCommand("exit 3", false), result(3, ""));
}

TEST_F(CommandRunner, YieldsEveryExitCode) {
    for (int code = 0; code < 256; code += 15) {
        SCOPED_TRACE(code);
        EXPECT_EQ(runCommand("exit " + std::to_string(code), true), result(code, ""));
    }
}

TEST_F(CommandRunner, YieldsTheShellsCodeForACommandThatDoesNotExist) {
    EXPECT_EQ(runCommand("exec 2>/dev/null; /nonexistent/command", false), result(127, ""));
}

TEST_F(CommandRunner, YieldsZeroForAShellKilledByASignal) {
    EXPECT_EQ(runCommand("echo before; kill -9 $$; echo after", false), result(0, "before\n"));
    EXPECT_EQ(runCommand("kill -TERM $$; exit 3", true), result(0, ""));
}

TEST_F(CommandRunner, YieldsTheShellsCodeForACommandInItKilledByASignal) {
    EXPECT_EQ(runCommand("exec 2>/dev/null; sh -c 'kill -9 $$'; exit $?", false),
              result(128 + 9, ""));
}

TEST_F(CommandRunner, YieldsMinusOneAndTheOutputForAChildKilledByASignal) {
    EXPECT_EQ(runCommand("echo before; kill -9 $PPID", false), result(-1, "before\n"));
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

TEST_F(CommandRunner, LeavesStandardErrorAloneUnlessAsked) {
    testing::internal::CaptureStderr();
    const CommandResult captured = runCommand("echo one; echo two >&2; echo three", false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "two\n");
    EXPECT_EQ(captured, result(0, "one\nthree\n"));
}

TEST_F(CommandRunner, CapturesBothStreamsInTheOrderWrittenIfAsked) {
    testing::internal::CaptureStderr();
    const CommandResult captured = runCommand("echo one; echo two >&2; echo three; exit 2", true);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(captured, result(2, "one\ntwo\nthree\n"));
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

TEST_F(CommandRunner, LosesTheRestOfAChunkFromANulByteOn) {
    EXPECT_EQ(runCommand("printf 'ab\\0cd'", false), result(0, "ab"));
    EXPECT_EQ(runCommand("printf '\\0ab'", false), result(0, ""));
}

TEST_F(CommandRunner, LosesOnlyTheChunkWithTheNulByte) {
    using namespace std::string_literals;
    const TemporaryDirectory directory;
    // Written at once, since it is no more than a pipe takes whole.
    const std::string file =
        directory.write("output", std::string(500, 'a') + "\0"s + std::string(522, 'x') +
                                      std::string(1023, 'b') + "c\0d"s);
    EXPECT_EQ(runCommand("cat " + file, false),
              result(0, std::string(500, 'a') + std::string(1023, 'b') + "c"));
}

TEST_F(CommandRunner, CutsEachChunkAsItIsRead) {
    using namespace std::string_literals;
    answers.reads = {{"ab\0cd\0ef"s}, {"\0gh"s}, {"ij"}, {"k\0"s}, {"", 0}};
    EXPECT_EQ(runCommand("true", false), result(0, "abijk"));
}

TEST_F(CommandRunner, WaitsUntilTheOutputIsClosedAlsoByADescendant) {
    const TemporaryDirectory directory;
    const std::string pipe = (directory.path() / "pipe").string();
    // The background process reads a pipe whose only writer is the shell, and so goes on when
    // the shell has ended.
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

TEST_F(CommandRunner, LeavesNoDescriptorBehind) {
    const std::set<std::string> before = openDescriptors();
    runCommand("true", false);
    runCommand("echo text; echo text >&2; exit 3", true);
    runCommand("kill -9 $PPID", false);
    answers.systemFails = true;
    runCommand("true", true);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CommandRunner, LeavesNoZombieBehind) {
    for (const char* command : {"true", "exit 3", "kill -9 $$", "kill -9 $PPID"}) {
        SCOPED_TRACE(command);
        runCommand(command, false);
        EXPECT_FALSE(hasChildren());
    }
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

TEST_F(CommandRunner, GivesTheCommandTheDefaultActionOfAFileThatMayNotGrow) {
    void (*const before)(int) = std::signal(SIGXFSZ, SIG_IGN);
    const TemporaryDirectory directory;
    const std::string file = (directory.path() / "file").string();
    const CommandResult captured =
        runCommand("ulimit -c 0; (ulimit -f 0; echo text > " + file + "); exit $?", true);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(captured.status, 128 + SIGXFSZ);
}

TEST_F(CommandRunner, GivesTheCommandTheDefaultActionOfAPipeThatNobodyReads) {
    void (*const before)(int) = std::signal(SIGPIPE, SIG_IGN);
    const CommandResult captured = runCommand("grep SigIgn /proc/self/status", false);
    std::signal(SIGPIPE, before);
    const std::size_t digit = captured.output.size() - std::string("1000\n").size();
    EXPECT_EQ(captured.output.at(digit), '0') << captured.output; // of the signals 13 to 16
}

// Failures.

TEST_F(CommandRunnerFailure, OfMemoryForTheOutputLetsTheCommandEnd) {
    const TemporaryDirectory directory;
    const std::string end = (directory.path() / "end").string();
    const std::set<std::string> before = openDescriptors();
    answers.reads = {{"text"}, {"", 0, true}, {"", EINTR}};
    EXPECT_THROW(runCommand("head -c 200000 /dev/zero; echo text; echo end > " + end, false),
                 std::bad_alloc);
    EXPECT_EQ(contentOf(end), "end\n");
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CommandRunnerFailure, ToCaptureTheOutputRunsNothing) {
    const TemporaryDirectory directory;
    const std::string trace = (directory.path() / "trace").string();
    const std::string command = "echo ran > " + trace;
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        SCOPED_TRACE(stream);
        testing::internal::CaptureStderr();
        answers.duplications[stream] = {EBUSY};
        const CommandResult captured = runCommand(command, true);
        answers.duplications.clear(); // the child had a copy
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "keldoctl: failed to execute a command -- " + command);
        EXPECT_EQ(captured, result(255, ""));
        EXPECT_FALSE(std::filesystem::exists(trace));
    }
}

TEST_F(CommandRunnerFailure, ToCaptureStandardErrorIsNoneUnlessAsked) {
    answers.duplications[STDERR_FILENO] = {EBUSY};
    EXPECT_EQ(runCommand("echo text", false), result(0, "text\n"));
}

TEST_F(CommandRunnerFailure, OfAnInterruptedCaptureIsNone) {
    answers.duplications[STDOUT_FILENO] = {EINTR, EINTR};
    answers.duplications[STDERR_FILENO] = {EINTR};
    EXPECT_EQ(runCommand("echo text; echo text >&2", true), result(0, "text\ntext\n"));
}

TEST_F(CommandRunnerFailure, OfThePipe) {
    answers.pipeFails = true;
    answers.forkEnds = true;
    EXPECT_EQ(runCommand("echo text", true),
              result(-1, "keldoctl: failed to create a pair of file descriptors"));
}

TEST_F(CommandRunnerFailure, OfTheFork) {
    answers.forkFails = true;
    EXPECT_EQ(runCommand("echo text", true),
              result(-1, "keldoctl: failed to create a child process"));
}

TEST_F(CommandRunnerFailure, OfTheWaitDropsTheOutput) {
    answers.waitFails = true;
    EXPECT_EQ(runCommand("echo text", true), result(-1, "keldoctl: failed to suspends execution"));
    EXPECT_NE(wait(nullptr), -1); // The child is there, and does not stay.
}

TEST_F(CommandRunnerFailure, OfTheWaitClosesTheDescriptors) {
    const std::set<std::string> before = openDescriptors();
    answers.waitFails = true;
    runCommand("true", true);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_NE(wait(nullptr), -1);
}

TEST_F(CommandRunnerFailure, ToStartTheShellIsCapturedWithStandardError) {
    answers.systemFails = true;
    EXPECT_EQ(runCommand("some command --now", true),
              result(255, "keldoctl: failed to execute a command -- some command --now"));
}

TEST_F(CommandRunnerFailure, ToStartTheShellGoesToTheProgramsStandardErrorOtherwise) {
    answers.systemFails = true;
    testing::internal::CaptureStderr();
    const CommandResult captured = runCommand("some command --now", false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "keldoctl: failed to execute a command -- some command --now");
    EXPECT_EQ(captured, result(255, ""));
}

TEST_F(CommandRunnerFailure, MessagesBeginWithTheProgramsName) {
    programName = "other";
    answers.pipeFails = true;
    EXPECT_EQ(runCommand("true", false).output,
              "other: failed to create a pair of file descriptors");
}

TEST_F(CommandRunnerFailure, OfAReadEndsTheOutputThere) {
    answers.reads = {{"ab"}, {"", EIO}};
    EXPECT_EQ(runCommand("exit 3", false), result(3, "ab"));
}

TEST_F(CommandRunnerFailure, RetriesAnInterruptedRead) {
    answers.reads = {{"", EINTR}, {"", EINTR}, {"ab"}, {"", EINTR}};
    EXPECT_EQ(runCommand("echo text", false), result(0, "abtext\n"));
}

TEST_F(CommandRunnerFailure, RetriesAnInterruptedWait) {
    answers.interruptedWaits = 2;
    EXPECT_EQ(runCommand("echo text; exit 3", false), result(3, "text\n"));
    EXPECT_FALSE(hasChildren());
}
