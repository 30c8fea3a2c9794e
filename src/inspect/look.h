// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <string>

namespace keldo::inspect {

/// Whether somebody listens where a test connects to.
enum class Listener { listens, none, noSocket };

/// Connects to the port on this host, or to the unix socket, of a test. A connection that is not
/// refused within a moment counts as one that is taken.
Listener lookAt(const Test& test);

/// Whether the process that a pid file names is stopped (state T in /proc). False if there is no
/// pid file or no such process.
bool isProcessStopped(const std::string& pidFile);

} // namespace keldo::inspect
