// SPDX-License-Identifier: MIT

#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace keldo::lint {

/// A command line that was understood.
struct CommandLine {
    bool printUsage = false;
    bool showControlFiles = false;
    std::vector<std::string> files; ///< none only where the usage is to be printed

    bool operator==(const CommandLine&) const = default;
};

/// A command line that was not. what() holds the whole message, its last newline included.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments, the program's own name (argv[0]) not among them:
///
///     [--show] [--] FILE...
///     --help | -h
///
/// Options may stand anywhere before "--". Throws CommandLineError for an unknown option and where
/// there is no file.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// The text of --help.
std::string usage();

} // namespace keldo::lint
