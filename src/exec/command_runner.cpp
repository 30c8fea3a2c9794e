// SPDX-License-Identifier: MIT

#include "exec/command_runner.h"

#include "exec/duplicate.h"
#include "exec/program_name.h"
#include "exec/unique_fd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace keldo {

namespace {

constexpr int shellNotRun = 255;

CommandResult failure(const char* reason) {
    return {-1, programName + reason};
}

void writeToStderr(const std::string& text) {
    // Where this fails there is nowhere left to say it.
    [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
}

[[noreturn]] void endWithoutShell(const std::string& command) noexcept {
    writeToStderr(programName + ": failed to execute a command -- " + command);
    _exit(shellNotRun);
}

/// The child's whole life. Ends by _exit: the parent's exit handlers, unwritten stream buffers and
/// callers are the parent's alone.
[[noreturn]] void runInChild(const std::string& command, bool captureStderr, int readEnd,
                             int writeEnd) noexcept {
    // What is not captured would be printed where the report belongs.
    if (!duplicate(writeEnd, STDOUT_FILENO) ||
        (captureStderr && !duplicate(writeEnd, STDERR_FILENO))) {
        endWithoutShell(command);
    }
    close(readEnd);
    close(writeEnd);
    // Ignored by this program, but not to be by others.
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
    const int waitStatus = system(command.c_str());
    if (waitStatus == -1) {
        endWithoutShell(command);
    }
    // Of a shell that died by a signal the exit code's bits are 0, and so it counts as a success.
    _exit(WEXITSTATUS(waitStatus));
}

using Chunk = std::array<char, 1024>;

/// Reads the next piece of the output, as a C string. Returns false at its end or at a failure.
bool readChunk(int readEnd, Chunk& chunk) {
    ssize_t count = -1;
    do {
        count = read(readEnd, chunk.data(), chunk.size() - 1);
    } while (count == -1 && errno == EINTR);
    if (count < 1) {
        return false;
    }
    chunk[static_cast<size_t>(count)] = '\0';
    return true;
}

/// Returns all that could be read.
std::string readOutput(int readEnd) {
    std::string output;
    Chunk chunk;
    while (readChunk(readEnd, chunk)) {
        output += chunk.data(); // up to the first NUL
    }
    return output;
}

/// Lets the command write the rest of its output: with the pipe closed, it might be ended in the
/// middle of its work.
void dropOutput(int readEnd) {
    Chunk chunk;
    while (readChunk(readEnd, chunk)) {
    }
}

} // namespace

RunningCommand::RunningCommand(const std::string& command, bool captureStderr) {
    std::array<int, 2> ends;
    if (pipe(ends.data()) == -1) {
        failure_ = ": failed to create a pair of file descriptors";
        return;
    }
    readEnd_.reset(ends[0]);
    const UniqueFd writeEnd(ends[1]);
    child_ = fork();
    if (child_ == 0) {
        runInChild(command, captureStderr, readEnd_.get(), writeEnd.get());
    }
    if (child_ == -1) {
        failure_ = ": failed to create a child process";
    }
}

RunningCommand::~RunningCommand() {
    if (child_ != -1) {
        dropOutput(readEnd_.get());
        int waitStatus = 0;
        waitForEnd(waitStatus);
    }
}

CommandResult RunningCommand::result() && {
    if (failure_ != nullptr) {
        return failure(failure_);
    }
    std::string output = readOutput(readEnd_.get());
    readEnd_.reset();
    int waitStatus = 0;
    if (waitForEnd(waitStatus) == -1) {
        return failure(": failed to suspends execution");
    }
    return {WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1, std::move(output)};
}

/// Returns -1 with errno, or the child's process id. A signal that interrupts the wait does not
/// end it: the child would stay behind as a zombie and its output be lost.
pid_t RunningCommand::waitForEnd(int& waitStatus) noexcept {
    const pid_t child = std::exchange(child_, -1);
    pid_t waited = 0;
    do {
        waited = waitpid(child, &waitStatus, 0);
    } while (waited == -1 && errno == EINTR);
    return waited;
}

CommandResult runCommand(const std::string& command, bool captureStderr) {
    return RunningCommand(command, captureStderr).result();
}

} // namespace keldo
