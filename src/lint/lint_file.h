// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace keldo::lint {

/// A file that cannot be looked at. what() names it and the reason.
class UnreadableFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What was found of one definition file.
struct Result {
    Findings findings; ///< by line

    /// The text that keldoctl gives to monit, which may be empty. None where it gives none: of the
    /// database, and of what it cannot read.
    std::optional<std::string> controlFile;
};

/// Looks at the file in all ways: is it XML, does keldoctl read a service of it, does the schema
/// allow it (schema_check.h), does it mean what it does (definition_checks.h), and can monit, where
/// it is installed, read what keldoctl makes of it (monit_test.h). What one of the checks says of
/// an element takes the place of what the schema says of it.
///
/// Throws UnreadableFile, and std::runtime_error where the checks cannot be made. Prints nothing.
Result lintFile(const std::string& path);

} // namespace keldo::lint
