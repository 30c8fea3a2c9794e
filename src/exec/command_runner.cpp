// SPDX-License-Identifier: MIT

#include "exec/command_runner.h"

#include "exec/process_state.h"
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
    // If this fails, there is nowhere left to report it.
    [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
}

[[noreturn]] void endWithoutShell(const std::string& command) noexcept {
    writeToStderr(programName + ": failed to execute a command -- " + command);
    _exit(shellNotRun);
}

/// All that the child does. It ends by _exit(), since the exit handlers, the unwritten stream
/// buffers and the callers' frames belong to the parent.
[[noreturn]] void runInChild(const std::string& command, bool captureStderr, int readEnd,
                             int writeEnd) noexcept {
    // Without the redirection, output would land in the report's stream.
    if (!duplicate(writeEnd, STDOUT_FILENO) ||
        (captureStderr && !duplicate(writeEnd, STDERR_FILENO))) {
        endWithoutShell(command);
    }
    close(readEnd);
    close(writeEnd);
    // We ignore these signals; commands must not inherit that.
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
    const int waitStatus = system(command.c_str());
    if (waitStatus == -1) {
        endWithoutShell(command);
    }
    // WEXITSTATUS of a shell killed by a signal is 0, so it counts as success.
    _exit(WEXITSTATUS(waitStatus));
}

using Chunk = std::array<char, 1024>;

/// Reads the next piece of the output as a C string. Returns false at the end or on failure.
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

/// Reads up to the end of the output or to a failure.
std::string readOutput(int readEnd) {
    std::string output;
    Chunk chunk;
    while (readChunk(readEnd, chunk)) {
        output += chunk.data(); // up to the first NUL
    }
    return output;
}

/// Lets the command write the rest of its output: a closed pipe might end it by SIGPIPE in the
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

/// Returns the child's process id, or -1 with errno. Retries an interrupted wait: giving up would
/// leave a zombie and lose the output.
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
