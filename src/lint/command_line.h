// SPDX-License-Identifier: MIT

#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace keldo::lint {

/// A valid command line.
struct CommandLine {
    bool printUsage = false;
    bool printVersion = false;
    bool showControlFiles = false;
    std::vector<std::string> files; ///< may be empty only if printUsage or printVersion is set

    bool operator==(const CommandLine&) const = default;
};

/// Thrown for an invalid command line. what() is the whole message, with its last newline.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses the arguments without argv[0]:
///
///     [--show] [--] FILE...
///     --version | --help | -h
///
/// Options may stand anywhere before "--". Throws CommandLineError for an unknown option, or if no
/// file is given.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// The text of --help.
std::string usage();

} // namespace keldo::lint
