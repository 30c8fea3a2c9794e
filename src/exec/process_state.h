// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The base name of the path by which the program was started. Messages for the user begin with it;
/// messages of conf and db do not, since no user sees them during a run. Empty until main sets it.
extern std::string programName;

/// Repairs what a caller may have left in a state that would harm a run or the daemons that a
/// repair starts. Call it once, before anything else. What cannot be repaired stays as it is, and
/// no error is reported.
///
/// - Closed standard descriptors are opened on the null device.
/// - All other open descriptors are closed in executed programs (FD_CLOEXEC).
/// - No signal is blocked, and SIGCHLD has its default action.
/// - SIGPIPE and SIGXFSZ are ignored, so that a write to a closed pipe or beyond a file's size
/// limit
///   fails instead of ending the run. Commands get the default actions (exec/command_runner.h).
/// - The root directory replaces a working directory that was removed.
void makeInheritedStateSane();

} // namespace keldo
