// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace keldo {

/// What a run is to do.
enum class Mode { diagnose, execAndDiagnose, printUsage };

/// A command line that was understood.
struct CommandLine {
    Mode mode = Mode::diagnose;
    std::string language = englishLanguage;
    std::vector<std::string> repairIds; ///< in their order, duplicates kept; used by one mode only
};

/// A command line that was not. what() holds the whole message, its last newline included.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments, the program's own name (argv[0]) not among them:
///
///     --status [--language=LANG_CODE]
///     --repair [--language=LANG_CODE] ID...
///     --help | -h [--language=LANG_CODE]
///
/// The language option counts right after the command only; anything after it, or in its place, is
/// an id. Throws CommandLineError for a missing or unknown command and for a language code that is
/// not two lower-case letters, a hyphen and two upper-case letters of ASCII.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// "Try `PROGRAM --help` for more information."
std::string tryHelpLine();

/// Writes the two lines of the usage to standard output.
void printUsage();

} // namespace keldo
