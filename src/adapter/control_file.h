// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::adapter {

/// What is needed to know of a control file without asking monit.
struct ControlFile {
    std::string path; ///< as it was given
    std::string text;
    bool isEmpty = true;                   ///< nothing but blanks and comments
    std::vector<std::string> serviceNames; ///< in the file's order
    int testCount = 0;                     ///< of "if" statements
};

/// Reads the control file `path`. Looks for its checks and tests only: whether monit accepts the
/// file is left to monit, and a file that it includes is not read. Throws Failure where the file
/// cannot be read.
ControlFile readControlFile(const std::string& path);

} // namespace keldo::adapter
