// SPDX-License-Identifier: MIT

#include "app/command_line.h"

#include "exec/process_state.h"
#include "support/fuzz_target.h"
#include "support/laws.h"

#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

using Words = std::vector<std::string>;

/// The result of parsing: a command line or an error message.
struct Outcome {
    CommandLine commandLine;
    std::string complaint; ///< empty if the command line is valid
};

// The model: decides by the position of each word.

const std::map<std::string, Mode> modes = {
    {"--status", Mode::diagnose},
    {"--repair", Mode::execAndDiagnose},
    {"--help", Mode::printUsage},
    {"-h", Mode::printUsage},
};

const std::string tryHelp = "Try `keldoctl --help` for more information.\n";

bool isLanguageCode(const std::string& code) {
    const std::string lower = "abcdefghijklmnopqrstuvwxyz";
    const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string characters[] = {lower, lower, "-", upper, upper};
    if (code.size() != std::size(characters)) {
        return false;
    }
    for (std::size_t i = 0; i < code.size(); ++i) {
        if (characters[i].find(code[i]) == std::string::npos) {
            return false;
        }
    }
    return true;
}

Outcome outcomeOf(Words words) {
    Outcome outcome;
    if (words.empty()) {
        outcome.complaint = "keldoctl: missing command\n" + tryHelp;
        return outcome;
    }
    const auto mode = modes.find(words.front());
    if (mode == modes.end()) {
        outcome.complaint = "keldoctl: invalid command -- " + words.front() + "\n" + tryHelp;
        return outcome;
    }
    outcome.commandLine.mode = mode->second;
    words.erase(words.begin());
    if (!words.empty() && words.front().substr(0, 11) == "--language=") {
        outcome.commandLine.language = words.front().substr(11);
        words.erase(words.begin());
        if (!isLanguageCode(outcome.commandLine.language)) {
            outcome.complaint =
                "keldoctl: invalid locale code -- " + outcome.commandLine.language + "\n";
        }
    }
    outcome.commandLine.repairIds = words;
    return outcome;
}

// The trial.

/// Splits the input into arguments, each followed by a NUL, which the last may lack.
Words wordsOf(const std::string& input) {
    Words words;
    for (std::size_t start = 0; start < input.size();) {
        const std::size_t end = input.find('\0', start);
        words.push_back(input.substr(start, end - start));
        start = end == std::string::npos ? input.size() : end + 1;
    }
    return words;
}

Outcome parse(const Words& words) {
    try {
        return {parseCommandLine(words), ""};
    } catch (const CommandLineError& error) {
        return {{}, error.what()};
    }
}

} // namespace

void tryInput(const std::string& input) {
    programName = "keldoctl";
    const Words words = wordsOf(input);
    const Outcome expected = outcomeOf(words);
    const Outcome actual = parse(words);
    requireEqual(expected.complaint, actual.complaint, "error message");
    if (expected.complaint.empty()) {
        require(expected.commandLine.mode == actual.commandLine.mode, "mode");
        requireEqual(expected.commandLine.language, actual.commandLine.language, "language");
        require(expected.commandLine.repairIds == actual.commandLine.repairIds, "ids");
    }
}

} // namespace keldo::test
