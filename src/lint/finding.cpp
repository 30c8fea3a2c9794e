// SPDX-License-Identifier: MIT

#include "lint/finding.h"

#include "lint/escaped_text.h"

namespace keldo::lint {

std::string findingLine(const std::string& file, const Finding& finding) {
    const char* const level = finding.level == Level::error ? "error" : "warning";
    return escapedText(file) + ":" + std::to_string(finding.line) + ": " + level + ": " +
           escapedText(finding.text);
}

} // namespace keldo::lint
