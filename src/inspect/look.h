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

/// The process that a pid file names.
enum class NamedProcess {
    running,
    stopped, ///< state T in /proc
    none,    ///< the number is that of a thread, which the monitor takes for a process
};

/// Looks into /proc. Returns `running` if it cannot find out more.
NamedProcess lookAtProcess(const std::string& pidFile);

} // namespace keldo::inspect
