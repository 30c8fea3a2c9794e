// SPDX-License-Identifier: MIT

#pragma once

#include "app/command_line.h"

namespace keldo {

/// Carries out a command line: sets the language, English where the chosen one's locale is not
/// installed, and prints the usage or makes a run of diagnosis that ends with the report on
/// standard output. Returns the exit status. An exception of the run passes through; standard
/// output is then still silenced and holds nothing.
int run(const CommandLine& commandLine);

/// The checks of a run: for an upgrade in progress and, unless there is one, of the services.
void diagnose();

} // namespace keldo
