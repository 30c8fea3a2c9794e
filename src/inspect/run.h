// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/command_line.h"

namespace keldo::inspect {

/// The exit statuses of keldoctl-inspect.
enum ExitStatus {
    statusWell = 0,
    statusProblems = 1, ///< a service is down, or a repair failed
    statusUnknown = 2,
    statusNoDocument = 3,
    statusUpgrade = 4,
    statusUsage = 64
};

/// Carries out a command line: prints the usage or the version, or makes an inspection and prints
/// its document on standard output. Returns the exit status. Throws Interrupted if a signal asks
/// the program to end, what the inspection throws, and std::system_error if it cannot write. Unless
/// writing fails, it has then printed nothing on standard output.
int run(const CommandLine& commandLine);

} // namespace keldo::inspect
