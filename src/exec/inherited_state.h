// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Mends what a caller may have left in a state that a run, or the daemons that a repair starts,
/// would suffer from. To be called once, first of all. What cannot be mended stays as it is.
///
/// Standard descriptors that are closed are opened on the null device; signals are not blocked;
/// SIGCHLD has its default action; a working directory that was removed is replaced by the root
/// directory. SIGPIPE and SIGXFSZ are ignored, so that a reader that is gone and a file that may
/// not grow fail a write instead of ending the run; commands get them as they should be
/// (exec/command_runner.h).
void makeInheritedStateSane();

} // namespace keldo
