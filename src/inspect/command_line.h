// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace keldo::inspect {

/// A valid command line.
struct CommandLine {
    enum class Mode { inspect, printUsage, printVersion };

    Mode mode = Mode::inspect;
    std::string language = englishLanguage;
    std::chrono::seconds timeout{60};
    std::size_t jobs = 0; ///< 0: one for each processor
    bool isJson = false;
    std::vector<std::string> repairIds; ///< in order, with duplicates
};

/// An invalid command line. what() is the whole message with its final newline.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments, without the program's own name:
///
///     [--language=LANG_CODE] [--timeout=SECONDS] [--jobs=N] [--json] [--repair ID...]
///     --version | --help | -h
///
/// The options may have any order. If an option is given twice, the last one counts. Every word
/// after --repair is an id. SECONDS is a whole number from 1 to 86400, N from 1 to 256. Throws
/// CommandLineError.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// The usage with its final newline.
std::string usage();

} // namespace keldo::inspect
