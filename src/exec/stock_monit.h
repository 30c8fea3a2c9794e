// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// The distribution's monit. A full path, since monit-check-status is itself installed under the
/// name monit, and a search along PATH could find it instead.
inline constexpr const char* stockMonit = "/usr/bin/monit";

} // namespace keldo
