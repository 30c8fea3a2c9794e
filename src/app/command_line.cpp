// SPDX-License-Identifier: MIT

#include "app/command_line.h"

#include "exec/process_state.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace keldo {

namespace {

struct Command {
    const char* name;
    Mode mode;
};

constexpr Command commands[] = {
    {"--status", Mode::diagnose},
    {"--repair", Mode::execAndDiagnose},
    {"--help", Mode::printUsage},
    {"-h", Mode::printUsage},
};

constexpr std::string_view languageOption = "--language=";

Mode modeOf(const std::string& name) {
    const auto* const command = std::ranges::find(commands, std::string_view(name), &Command::name);
    if (command == std::end(commands)) {
        throw CommandLineError(programName + ": invalid command -- " + name + "\n" + tryHelpLine() +
                               "\n");
    }
    return command->mode;
}

std::string languageOf(const std::string& option) {
    std::string code = option.substr(languageOption.size());
    if (!isLanguageCode(code)) {
        throw CommandLineError(programName + ": invalid locale code -- " + code + "\n");
    }
    return code;
}

/// Returns false on failure. Uses stdio: including <iostream> constructs all standard streams at
/// every start.
bool printLine(const std::string& line) {
    return std::fputs((line + '\n').c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

} // namespace

bool isLanguageCode(std::string_view code) {
    const auto isLower = [](char c) { return c >= 'a' && c <= 'z'; };
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    return code.size() == 5 && isLower(code[0]) && isLower(code[1]) && code[2] == '-' &&
           isUpper(code[3]) && isUpper(code[4]);
}

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        throw CommandLineError(programName + ": missing command\n" + tryHelpLine() + "\n");
    }
    CommandLine commandLine;
    commandLine.mode = modeOf(arguments[0]);
    std::size_t firstId = 1;
    if (arguments.size() > 1 && arguments[1].starts_with(languageOption)) {
        commandLine.language = languageOf(arguments[1]);
        firstId = 2;
    }
    commandLine.repairIds.assign(arguments.begin() + static_cast<std::ptrdiff_t>(firstId),
                                 arguments.end());
    return commandLine;
}

std::string tryHelpLine() {
    return "Try `" + programName + " --help` for more information.";
}

void printUsage() {
    if (printLine("Usage: " + programName + " --status [--language=LANG_CODE]")) {
        printLine("   or: " + programName + " --repair [--language=LANG_CODE] ID...");
    }
}

} // namespace keldo
