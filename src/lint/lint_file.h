// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"

#include <optional>
#include <string>

namespace keldo::lint {

/// The findings of one definition file.
struct Result {
    Findings findings; ///< in the order of their lines

    /// The text of the control file that keldoctl gives to monit; it may be empty. Not set for the
    /// database, for a file that keldoctl cannot read, and for a file that exceeds a limit
    /// (lint/document.h).
    std::optional<std::string> controlFile;
};

/// Checks a definition file: whether it is XML and within the limits (document.h), whether keldoctl
/// and monit do what it says (definition_checks.h), whether the schema allows it (schema_check.h),
/// and, if monit is installed, whether monit can read its control file (monit_acceptance.h). If the
/// definition checks find an error in an element, the schema's findings about it are left out.
///
/// Throws std::runtime_error if the file cannot be read or a check cannot be made. Prints nothing.
Result lintFile(const std::string& path);

} // namespace keldo::lint
