#include "exec/command_runner.h"

#include "exec/program_name.h"
#include "exec/unique_fd.h"

#include <array>
#include <cerrno>
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

/// The child's whole life. Ends by _exit: the parent's exit handlers and unwritten stream buffers
/// are the parent's alone.
[[noreturn]] void runInChild(const std::string& command, bool captureStderr, int readEnd,
                             int writeEnd) {
    dup2(writeEnd, STDOUT_FILENO);
    if (captureStderr) {
        dup2(writeEnd, STDERR_FILENO);
    }
    close(readEnd);
    close(writeEnd);
    const int waitStatus = system(command.c_str());
    if (waitStatus == -1) {
        writeToStderr(programName + ": failed to execute a command -- " + command);
        _exit(shellNotRun);
    }
    // Of a shell that died by a signal the exit code's bits are 0, and so it counts as a success.
    _exit(WEXITSTATUS(waitStatus));
}

/// Reads to the end of the output or to a failure. Returns all that was read until then.
std::string readOutput(int readEnd) {
    std::string output;
    std::array<char, 1024> buffer;
    for (;;) {
        const ssize_t count = read(readEnd, buffer.data(), buffer.size() - 1);
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count < 1) {
            return output;
        }
        buffer[static_cast<size_t>(count)] = '\0';
        output += buffer.data(); // as a C string: up to the first NUL
    }
}

/// Returns -1 with errno, or the child's process id. A signal that interrupts the wait does not
/// end it: the child would stay behind as a zombie and its output be lost.
pid_t waitFor(pid_t child, int& waitStatus) {
    pid_t waited = 0;
    do {
        waited = waitpid(child, &waitStatus, 0);
    } while (waited == -1 && errno == EINTR);
    return waited;
}

} // namespace

CommandResult runCommand(const std::string& command, bool captureStderr) {
    std::array<int, 2> ends;
    if (pipe(ends.data()) == -1) {
        return failure(": failed to create a pair of file descriptors");
    }
    UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    const pid_t child = fork();
    if (child == -1) {
        return failure(": failed to create a child process");
    }
    if (child == 0) {
        runInChild(command, captureStderr, readEnd.get(), writeEnd.get());
    }
    writeEnd.reset();
    std::string output = readOutput(readEnd.get());
    readEnd.reset();
    int waitStatus = 0;
    if (waitFor(child, waitStatus) == -1) {
        return failure(": failed to suspends execution");
    }
    return {WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1, std::move(output)};
}

} // namespace keldo
