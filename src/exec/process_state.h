// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo {

/// The name by which the program was started; empty until takeArguments() sets it. Messages for the
/// user begin with it. Messages of conf and db do not, since no user sees them in a run.
extern std::string programName;

/// Takes the arguments of main(). Sets programName to argv[0]'s base name, as POSIX basename()
/// gives it, and returns the other arguments. `argc` may be 0; then the name is ".".
std::vector<std::string> takeArguments(int argc, char* argv[]);

/// Repairs inherited state that would harm a run or the daemons that a repair starts. Call it once,
/// before anything else. Leaves a state that it cannot repair as it is, and reports no error.
///
/// - Closed standard descriptors are opened on the null device.
/// - All other open descriptors are closed in executed programs (FD_CLOEXEC).
/// - No signal is blocked, and SIGCHLD has its default action.
/// - SIGPIPE and SIGXFSZ are ignored, so that a write to a closed pipe or beyond the file size
///   limit fails instead of ending the run. Commands get the default actions
///   (exec/command_runner.h).
/// - If the working directory was removed, the root directory replaces it.
void makeInheritedStateSane();

/// Closes all open descriptors above 2 in executed programs (FD_CLOEXEC). Otherwise these programs
/// would keep the caller's files, sockets and locks. Reports no error.
void closeOtherDescriptorsOnExec();

} // namespace keldo
