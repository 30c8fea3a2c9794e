// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"

#include <libxml/tree.h>
#include <string>
#include <utility>
#include <vector>

namespace keldo::lint {

/// A finding and the element that it is about, of a document that outlives it.
struct PlacedFinding {
    PlacedFinding(const xmlNode* about, Level level, std::string text)
        : element(about), finding{xmlGetLineNo(about), level, std::move(text)} {}

    const xmlNode* element;
    Finding finding;
};

using PlacedFindings = std::vector<PlacedFinding>;

} // namespace keldo::lint
