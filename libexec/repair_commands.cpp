// SPDX-License-Identifier: MIT

// repair-commands ID... | --version | --help
//
// Prints the shell commands of repairs, each below a comment with its id, for keldoctl-report. It
// finds them with keldoctl's own code, so it knows exactly the ids that keldoctl carries out. If an
// id names no repair, it prints no commands, names each such id on standard error, and ends with
// status 64.

#include "app/standard_streams.h"
#include "diag/repair.h"
#include "exec/process_state.h"
#include "exec/program_version.h"
#include "xml/memory.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

using namespace keldo;

namespace {

constexpr int wrongUsage = 64; // EX_USAGE of sysexits.h
constexpr const char* usage = "Usage: repair-commands ID... | --version | --help\n"
                              "Prints the shell commands of repairs.\n";

/// The commands of a repair without empty lines around them. Empty if no such repair exists, the
/// definition cannot be read, or it has neither a start nor a stop action. Passes on what
/// solutionForAction() throws; then the program ends without output, and nothing is repaired.
std::string commandsOf(const std::string& id) {
    const std::string commands = solutionForAction(id).commands;
    const std::size_t start = commands.find_first_not_of('\n');
    return start == std::string::npos
               ? ""
               : commands.substr(start, commands.find_last_not_of('\n') + 1 - start);
}

int print(const std::string& text) {
    std::cout << text << std::flush;
    return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}

int printCommands(const std::vector<std::string>& ids) {
    std::string text;
    std::vector<std::string> unknownIds;
    redirectStdout(); // the configuration and libxml2 may print messages
    redirectStderr();
    for (const std::string& id : ids) {
        const std::string commands = commandsOf(id);
        if (commands.empty()) {
            unknownIds.push_back(id);
        }
        text.append("# ").append(id).append("\n").append(commands).append("\n");
    }
    restoreStderr();
    restoreStdout();
    for (const std::string& id : unknownIds) {
        std::cerr << programName << ": unknown repair -- " << id << "\n";
    }
    if (!unknownIds.empty()) {
        return wrongUsage;
    }
    return print(text);
}

} // namespace

int main(int argc, char* argv[]) {
    makeInheritedStateSane();
    abortOnXmlOutOfMemory();
    const std::vector<std::string> arguments = takeArguments(argc, argv);
    if (arguments.empty()) {
        std::cerr << usage;
        return wrongUsage;
    }
    if (arguments == std::vector<std::string>{"--version"}) {
        return print(programName + " " + programVersion + "\n");
    }
    if (arguments == std::vector<std::string>{"--help"}) {
        return print(usage);
    }
    return printCommands(arguments);
}
