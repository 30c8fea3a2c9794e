// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>

namespace keldo::inspect {

/// Tells a person on standard error how far the inspection is, if standard error is a terminal.
/// Made before the standard streams are silenced; children do not inherit its descriptor.
class Progress {
public:
    Progress();

    /// Prints a line that stays.
    void printLine(const std::string& line);

    /// Shows a line in place of the one that was shown so before.
    void replaceLine(const std::string& line);

    /// Takes that line away.
    void clearLine();

private:
    void write(const std::string& text);

    UniqueFd terminal_; ///< none if standard error is no terminal
    bool isLineShown_ = false;
};

} // namespace keldo::inspect
