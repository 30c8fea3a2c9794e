// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// What became of one command.
struct CommandResult {
    /// The command's exit code, 0 to 255, or -1: it could not be run, or its child process was
    /// ended by a signal, or could not be waited for.
    int status = -1;
    /// What the command wrote, or, where the runner itself failed, programName and the reason.
    std::string output;
};

/// Runs `command` by the system shell (system(3)) in a child process and returns when it has
/// closed its output and ended; there is no time limit. Captures standard output, and standard
/// error with it if `captureStderr`; the other descriptors are inherited (0, 1 and 2 have to
/// be open), SIGPIPE and SIGXFSZ have their default action. The output is taken as text: it is read
/// in chunks of at most 1023 bytes, and a NUL byte cuts off the rest of its chunk.
///
/// A shell that dies by a signal counts as exit code 0. Where the output cannot be captured or
/// system(3) itself fails, the exit code is 255 and the reason goes to the command's standard
/// error. Failures come back in the result; nothing is thrown for them, printed or logged. Throws
/// std::bad_alloc where there is no memory for the output; also then the command has ended.
CommandResult runCommand(const std::string& command, bool captureStderr);

} // namespace keldo
