// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>
#include <sys/types.h>

namespace keldo {

/// What became of one command.
struct CommandResult {
    /// The command's exit code, 0 to 255, or -1: it could not be run, or its child process was
    /// ended by a signal, or could not be waited for.
    int status = -1;
    /// What the command wrote, or, where the runner itself failed, programName and the reason.
    std::string output;
};

/// A command that runs by the system shell (system(3)) in a child process, from the constructor on
/// until it has closed its output and ended, for which the destructor waits as well; there is no
/// time limit. Captures standard output, and standard error with it if `captureStderr`; the other
/// descriptors are inherited (0, 1 and 2 have to be open), SIGPIPE and SIGXFSZ have their default
/// action. The output is taken as text: it is read in chunks of at most 1023 bytes, and a NUL byte
/// cuts off the rest of its chunk.
class RunningCommand {
public:
    RunningCommand(const std::string& command, bool captureStderr);
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    ~RunningCommand();

    /// Waits for the end and takes the result out; not to be called again.
    ///
    /// A shell that dies by a signal counts as exit code 0. Where the output cannot be captured or
    /// system(3) itself fails, the exit code is 255 and the reason goes to the command's standard
    /// error. Failures, also of the start, come back in the result; nothing is thrown for them,
    /// printed or logged. Throws std::bad_alloc where there is no memory for the output.
    CommandResult result() &&;

private:
    pid_t waitForEnd(int& waitStatus) noexcept;

    const char* failure_ = nullptr; ///< of the start
    UniqueFd readEnd_;
    pid_t child_ = -1; ///< that is still to be waited for
};

/// Runs a command and returns its result when it has ended. Throws as that does; also then the
/// command has ended.
CommandResult runCommand(const std::string& command, bool captureStderr);

} // namespace keldo
