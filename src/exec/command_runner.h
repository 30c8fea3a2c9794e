// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>
#include <sys/types.h>

namespace keldo {

/// The outcome of one command.
struct CommandResult {
    /// The command's exit code, 0 to 255. -1 if the command could not be run, if a signal ended its
    /// child process, or if waiting for the child failed.
    int status = -1;
    /// The command's output, or programName and the reason if the runner itself failed.
    std::string output;
};

/// A command that the system shell runs (system(3)) in a child process. The constructor starts it.
/// The destructor waits until the command has closed its output and ended; there is no time limit.
///
/// Captures standard output and, if `captureStderr`, standard error with it. The command inherits
/// the other descriptors; 0, 1 and 2 must be open. SIGPIPE and SIGXFSZ have their default action.
/// The output is taken as text: it is read in chunks of at most 1023 bytes, and a NUL byte cuts off
/// the rest of its chunk.
class RunningCommand {
public:
    RunningCommand(const std::string& command, bool captureStderr);
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    ~RunningCommand();

    /// Waits for the end and moves the result out. Call it at most once.
    ///
    /// A shell that is killed by a signal counts as exit code 0. If the output cannot be captured
    /// or system(3) itself fails, the exit code is 255 and the reason goes to the command's
    /// standard error. All other failures, those of the start included, are in the result; none is
    /// thrown, printed or logged. Throws std::bad_alloc if there is no memory for the output.
    CommandResult result() &&;

private:
    pid_t waitForEnd(int& waitStatus) noexcept;

    const char* failure_ = nullptr; ///< why the start failed, or null
    UniqueFd readEnd_;
    pid_t child_ = -1; ///< child to wait for, or -1
};

/// Runs a command to its end and returns its result. Throws what result() throws; the command has
/// ended even then.
CommandResult runCommand(const std::string& command, bool captureStderr);

} // namespace keldo
