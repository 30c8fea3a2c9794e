#pragma once

namespace keldo {

/// Mends what a caller may have left in a state that a run, or the daemons that a repair starts,
/// would suffer from. To be called once, first of all. What cannot be mended stays as it is.
///
/// Standard descriptors that are closed are opened on the null device; signals are not blocked;
/// SIGCHLD and SIGPIPE have their default action; a working directory that was removed is replaced
/// by the root directory. SIGXFSZ is ignored, so that a file that may not grow fails a write
/// instead of ending the run with its files left behind.
void makeInheritedStateSane();

} // namespace keldo
