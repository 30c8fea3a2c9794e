// SPDX-License-Identifier: MIT

#pragma once

#include "app/command_line.h"

namespace keldo {

/// Carries out a command line: sets the language (English if the chosen language's locale is not
/// installed), then prints the usage, or repairs and diagnoses and prints the report on standard
/// output. Returns the exit status. Exceptions of the checks pass through; standard output is still
/// silenced then, and nothing has been written to it.
int run(const CommandLine& commandLine);

/// Checks for an upgrade in progress and, if there is none, checks the services.
void diagnose();

} // namespace keldo
