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

/// The base name of the path by which the program was started.
std::string baseName(const char* path) {
    std::string copy = path; // basename(3) may write to it
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
    } catch (...) {
        // What the checks did not expect ends the process, without a report: none is better than
        // one that may be wrong. Without a handler it might do so before anything is cleaned up.
        throw;
    }
}
