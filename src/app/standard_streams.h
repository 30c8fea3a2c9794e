// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Silence and restore the standard streams, so that output of the run, its libraries and its
/// children cannot spoil the report. A silenced stream is the null device; the real stream is kept
/// on another descriptor. Children do not inherit that descriptor: a daemon that a repair starts
/// would keep the panel's pipe open.
///
/// Redirecting a silenced stream or restoring a stream that is not silenced does nothing. A stream
/// that cannot be silenced is left as it is, and no error is reported; messages of the lower layers
/// then go to standard error only. restoreStdout() throws std::system_error if it cannot restore
/// the real stream, since the report would be lost silently.
void redirectStdout();
void redirectStderr();
void restoreStdout();
void restoreStderr();

} // namespace keldo
