// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// An error is what makes keldoctl or the monitor not do what the definition says, or what the
/// schema does not allow, though both may take it; a warning is what works, but hardly as it is
/// meant or not everywhere.
enum class Level { warning, error };

/// One thing that is wrong with a definition.
struct Finding {
    long line = 0; ///< of the file, from 1
    Level level = Level::error;
    std::string text; ///< a lower-case phrase, with " -- " and the datum; in the file's own bytes

    bool operator==(const Finding&) const = default;
};

using Findings = std::vector<Finding>;

/// The line that tells of it, "FILE:LINE: error: TEXT", without line end, with file and text
/// escaped (escaped_text.h).
std::string findingLine(const std::string& file, const Finding& finding);

} // namespace keldo::lint
