// SPDX-License-Identifier: MIT

#include "lint/command_line.h"

#include "exec/process_state.h"
#include "lint/escaped_text.h"

namespace keldo::lint {

namespace {

CommandLineError errorOf(const std::string& text) {
    return CommandLineError(programName + ": " + text + "\nTry `" + programName +
                            " --help` for more information.\n");
}

void readOption(const std::string& option, CommandLine& commandLine) {
    if (option == "--show") {
        commandLine.showControlFiles = true;
    } else if (option == "--version") {
        commandLine.printVersion = true;
    } else if (option == "--help" || option == "-h") {
        commandLine.printUsage = true;
    } else {
        throw errorOf("unknown option -- " + escapedText(option));
    }
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine commandLine;
    bool optionsAllowed = true;
    for (const std::string& argument : arguments) {
        if (optionsAllowed && argument == "--") {
            optionsAllowed = false;
        } else if (optionsAllowed && argument.starts_with("-")) {
            readOption(argument, commandLine);
        } else {
            commandLine.files.push_back(argument);
        }
    }
    if (commandLine.files.empty() && !commandLine.printUsage && !commandLine.printVersion) {
        throw errorOf("no file given");
    }
    return commandLine;
}

std::string usage() {
    return "Usage: " + programName +
           " [--show] FILE...\n"
           "Checks service definitions, and asks monit to check their control files.\n"
           "\n"
           "  --show      print the control files that keldoctl gives to monit\n"
           "  --version   print the program's version\n"
           "  -h, --help  print this text\n"
           "\n"
           "Exit status: 0 nothing found, 1 something found, 2 wrong usage or failure.\n";
}

} // namespace keldo::lint
