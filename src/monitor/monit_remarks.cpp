// SPDX-License-Identifier: MIT

#include "monitor/monit_remarks.h"

#include <algorithm>

namespace keldo {

namespace {

bool isRemark(std::string_view line) {
    return line.starts_with("Monit exiting due to parsing errors") ||
           line.find("' is deprecated, use '") != std::string_view::npos;
}

} // namespace

std::string withoutRemarks(std::string_view output) {
    std::string kept;
    while (!output.empty()) {
        const std::string_view line = output.substr(0, output.find('\n'));
        output.remove_prefix(std::min(output.size(), line.size() + 1));
        if (!isRemark(line)) {
            kept.append(kept.empty() ? "" : "\n").append(line);
        }
    }
    return kept;
}

} // namespace keldo
