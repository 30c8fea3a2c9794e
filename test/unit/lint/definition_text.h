// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"

#include <string>
#include <vector>

/// Texts of definitions, and findings as texts.

namespace keldo::lint::test {

inline const std::string title = "<title xml:lang='en-US'>Web</title>\n";
inline const std::string actions =
    "<action type='start'>a</action>\n<action type='stop'>b</action>\n";
inline const std::string pidFile = "<pid-file>/run/web.pid</pid-file>";

inline std::string service(const std::string& content, const std::string& attributes = "id='web'") {
    return "<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1' " + attributes +
           ">\n" + content + "</service>\n";
}

/// A definition without faults, except in `checks`, which begin in line 6.
inline std::string withChecks(const std::string& checks, const std::string& id = "web") {
    return service(title + actions + "<checks>\n" + checks + "</checks>\n", "id='" + id + "'");
}

/// Each finding as "LINE: LEVEL: TEXT".
inline std::vector<std::string> linesOf(const Findings& findings) {
    std::vector<std::string> lines;
    for (const Finding& finding : findings) {
        lines.push_back(findingLine("", finding).substr(1));
    }
    return lines;
}

} // namespace keldo::lint::test
