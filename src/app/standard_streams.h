// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Silencing of the standard streams while a run works, so that nothing that it, its libraries or
/// its children print can spoil the report: descriptors 1 and 2 become the null device, and the
/// real ones are kept aside, where children do not inherit them. A daemon that a repair starts
/// would otherwise keep the panel's pipe open.
///
/// Redirecting a stream that is silenced and restoring one that is not do nothing. A stream that
/// cannot be silenced stays where it is, which is not told; messages of the lower layers then keep
/// off standard output. restoreStdout throws std::system_error where the real stream cannot be put
/// back, since a report would be lost silently.
void redirectStdout();
void redirectStderr();
void restoreStdout();
void restoreStderr();

} // namespace keldo
