// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace keldo::adapter {

/// The arguments of a valid call.
struct Request {
    std::string controlFile;                        ///< path
    std::optional<std::chrono::milliseconds> limit; ///< set only in the batch mode
};

/// The answer to "--version" or "--help" as the only argument; nothing for any other command line.
std::optional<std::string> requestedText(int argc, char** argv);

/// Reads "-c FILE -x check-status [-b SECONDS]", the options in any order. SECONDS is a decimal
/// number from 0.001 to 86400 with at most three decimals. Throws Failure with the usage for any
/// other command line. Uses getopt(3), so it can be called once only.
Request readCommandLine(int argc, char** argv);

} // namespace keldo::adapter
