// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/command_line.h"

namespace keldo::inspect {

/// The exit statuses of keldoctl-inspect.
enum ExitStatus {
    statusWell = 0,
    statusProblems = 1, ///< or a repair that failed
    statusUnknown = 2,
    statusNoDocument = 3,
    statusUpgrade = 4,
    statusUsage = 64
};

/// Carries out a command line: prints the usage or the version, or makes an inspection, which ends
/// with its document on standard output. Returns the exit status. Throws Interrupted if a signal
/// asks for the end, and what the inspection throws; standard output then holds nothing.
int run(const CommandLine& commandLine);

} // namespace keldo::inspect
