// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>

namespace keldo::inspect {

/// Shows the progress of the inspection on standard error, if that is a terminal. Construct it
/// before the standard streams are silenced. Children do not inherit its descriptor.
class Progress {
public:
    Progress();
    ~Progress() { clearLine(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Prints a line that stays.
    void printLine(const std::string& line);

    /// Shows a line until the next call of any function.
    void replaceLine(const std::string& line);

    /// Removes the line that replaceLine() has shown.
    void clearLine();

private:
    void write(const std::string& text);

    UniqueFd terminal_; ///< none if standard error is no terminal
    bool isLineShown_ = false;
};

} // namespace keldo::inspect
