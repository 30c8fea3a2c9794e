// SPDX-License-Identifier: MIT

#include "inspect/command_line.h"

#include "app/command_line.h"
#include "exec/process_state.h"

#include <charconv>
#include <string_view>

namespace keldo::inspect {

namespace {

constexpr unsigned longestTimeout = 86400;
constexpr unsigned mostJobs = 256;

[[noreturn]] void refuse(const std::string& what) {
    throw CommandLineError(programName + ": " + what + "\n" + tryHelpLine() + "\n");
}

/// A whole number from 1 to `largest`, in decimal digits.
unsigned numberOf(std::string_view text, unsigned largest, const char* what) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 1 ||
        number > largest) {
        refuse(std::string(what) + " -- " + std::string(text));
    }
    return number;
}

std::string languageOf(std::string_view code) {
    if (!isLanguageCode(code)) {
        refuse("invalid locale code -- " + std::string(code));
    }
    return std::string(code);
}

/// Sets `value` to the rest of the word if the word begins with `name`. Returns whether it does.
bool takeValue(std::string_view word, std::string_view name, std::string_view& value) {
    if (!word.starts_with(name)) {
        return false;
    }
    value = word.substr(name.size());
    return true;
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine commandLine;
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
        std::string_view value;
        if (takeValue(*word, "--language=", value)) {
            commandLine.language = languageOf(value);
        } else if (takeValue(*word, "--timeout=", value)) {
            commandLine.timeout =
                std::chrono::seconds(numberOf(value, longestTimeout, "invalid number of seconds"));
        } else if (takeValue(*word, "--jobs=", value)) {
            commandLine.jobs = numberOf(value, mostJobs, "invalid number of jobs");
        } else if (*word == "--json") {
            commandLine.isJson = true;
        } else if (*word == "--help" || *word == "-h") {
            commandLine.mode = CommandLine::Mode::printUsage;
        } else if (*word == "--version") {
            commandLine.mode = CommandLine::Mode::printVersion;
        } else if (*word == "--repair") {
            commandLine.repairIds.assign(word + 1, arguments.end());
            if (commandLine.repairIds.empty()) {
                refuse("missing id of a repair");
            }
            break;
        } else {
            refuse("invalid option -- " + *word);
        }
    }
    return commandLine;
}

std::string usage() {
    return "Usage: " + programName +
           " [--language=LANG_CODE] [--timeout=SECONDS] [--jobs=N] [--json] [--repair ID...]\n" +
           "   or: " + programName + " --version | --help\n";
}

} // namespace keldo::inspect
