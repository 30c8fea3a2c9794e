// SPDX-License-Identifier: MIT

#pragma once

/// Which call of the process is to go wrong, as a library that is loaded before all others
/// (LD_PRELOAD) finds it in the environment:
///   FAULT_CALL     the function; see the library
///   FAULT_NUMBER   which of its calls, counted from 1
///   FAULT_FOREVER  set: that one and all that follow
///   FAULT_CHILD    whose calls: of which fork, counted from 1; 0: the process's own
///   FAULT_LOG      a file for what happens, a line each: "fault" for each call that went wrong,
///                  and where the process ends by exit(3), "calls N", how many calls there were,
///                  and "open D" for each descriptor that is open then, but for the standard
///                  streams
/// The programs that the process starts find none of this in their environment.
namespace fault_plan {

/// Whether the call of `function` that is being made is to go wrong; logs it then. To be asked once
/// for each call. Makes no use of the heap and leaves errno alone.
bool isDue(const char* function);

} // namespace fault_plan
