// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <string>

namespace keldo::inspect {

/// Whether a program listens on the port or socket of a test.
enum class Listener { listens, none, noSocket };

/// Tries to connect to the port or unix socket of a test on this host. If the connection is not
/// refused within 0.1 s, it counts as accepted.
Listener lookAt(const Test& test);

/// Whether the process that a pid file names is stopped (state T in /proc). False if there is no
/// pid file or no such process.
bool isProcessStopped(const std::string& pidFile);

} // namespace keldo::inspect
