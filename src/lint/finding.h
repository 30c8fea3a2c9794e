// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// error: keldoctl or monit will not do what the definition says, or the schema forbids it.
/// warning: it works, but not everywhere or not as intended.
enum class Level { warning, error };

/// One fault of a definition.
struct Finding {
    long line = 0; ///< in the file, from 1
    Level level = Level::error;
    /// A lower-case phrase, then " -- " and a value if there is one. Holds bytes of the file,
    /// unescaped.
    std::string text;

    bool operator==(const Finding&) const = default;
};

using Findings = std::vector<Finding>;

/// Formats a finding as "FILE:LINE: error: TEXT", without a line end. The file name and the text
/// are escaped (escaped_text.h).
std::string findingLine(const std::string& file, const Finding& finding);

} // namespace keldo::lint
