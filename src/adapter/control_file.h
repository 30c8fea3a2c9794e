// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::adapter {

/// A control file, and the facts that this program reads from it without monit.
struct ControlFile {
    std::string path; ///< as the caller gave it
    std::string text;
    bool isEmpty = true;                   ///< it contains only blanks and comments
    std::vector<std::string> serviceNames; ///< in the file's order
    int testCount = 0;                     ///< number of "if" statements
};

/// Finds the checks and tests in a control file's text. Monit decides later whether it accepts the
/// text. Does not read the files that the text includes.
ControlFile parseControlFile(std::string path, std::string text);

} // namespace keldo::adapter
