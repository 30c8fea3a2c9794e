// SPDX-License-Identifier: MIT

#include "app/command_line.h"
#include "app/run.h"
#include "exec/process_state.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

std::optional<keldo::CommandLine> parse(const std::vector<std::string>& arguments) {
    try {
        return keldo::parseCommandLine(arguments);
    } catch (const keldo::CommandLineError& error) {
        std::fputs(error.what(), stderr);
        return std::nullopt;
    }
}

} // namespace

int main(int argc, char* argv[]) {
    keldo::makeInheritedStateSane();
    const auto commandLine = parse(keldo::takeArguments(argc, argv));
    if (!commandLine) {
        return EXIT_FAILURE;
    }
    try {
        return keldo::run(*commandLine);
    } catch (...) { // makes destructors run; an uncaught exception may skip them
        throw;      // ends the process without a report, which is better than a wrong report
    }
}
