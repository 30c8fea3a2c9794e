// SPDX-License-Identifier: MIT

#include "app/command_line.h"
#include "app/run.h"
#include "exec/process_state.h"

#include <cstdio>
#include <cstdlib>
#include <libgen.h>
#include <optional>
#include <string>
#include <vector>

namespace {

std::string baseName(const char* path) {
    std::string copy = path; // POSIX basename() may write to its argument
    return basename(copy.data());
}

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
    const std::vector<std::string> words(argv, argv + argc);
    keldo::programName = baseName(argc > 0 ? argv[0] : "");
    const auto commandLine = parse({words.begin() + (argc > 0 ? 1 : 0), words.end()});
    if (!commandLine) {
        return EXIT_FAILURE;
    }
    try {
        return keldo::run(*commandLine);
    } catch (...) { // makes destructors run; an uncaught exception may skip them
        throw;      // ends the process without a report, which is better than a wrong report
    }
}
