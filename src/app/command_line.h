// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace keldo {

/// The task of a run.
enum class Mode { diagnose, execAndDiagnose, printUsage };

/// A valid command line.
struct CommandLine {
    Mode mode = Mode::diagnose;
    std::string language = englishLanguage;
    std::vector<std::string>
        repairIds; ///< in order, with duplicates; only execAndDiagnose uses them
};

/// An invalid command line. what() is the whole message with its final newline.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses the arguments, without the program's name (argv[0]):
///
///     --status [--language=LANG_CODE]
///     --repair [--language=LANG_CODE] ID...
///     --help | -h [--language=LANG_CODE]
///
/// The language option is recognised only right after the command; every other argument after the
/// command is an id. Throws CommandLineError if the command is missing or unknown, or if the
/// language code is not two lower-case letters, a hyphen and two upper-case letters of ASCII.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// Whether this is two lower-case letters, a hyphen and two upper-case letters of ASCII.
bool isLanguageCode(std::string_view code);

/// Returns "Try `PROGRAM --help` for more information."
std::string tryHelpLine();

/// Writes the two lines of the usage to standard output. Stops at the first write that fails.
void printUsage();

} // namespace keldo
