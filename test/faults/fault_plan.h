// SPDX-License-Identifier: MIT

#pragma once

/// The call of the process that is to fail, as a preloaded library reads it from the environment:
///   FAULT_CALL     the function
///   FAULT_NUMBER   the number of its call, from 1
///   FAULT_FOREVER  if set, all later calls fail as well
///   FAULT_CHILD    the number of the fork whose calls count, from 1; 0: the process itself
///   FAULT_LOG      a file that gets a line "fault" for each failed call and, if the process exits
///                  by exit(3), "calls N", the number of calls, and "open D" for each open
///                  descriptor above 2
/// These variables are removed, so that child programs do not see them.
namespace fault_plan {

/// Returns whether the current call of `function` must fail, and logs that. Call it once for each
/// call. Does not allocate and does not change errno.
bool isDue(const char* function);

} // namespace fault_plan
