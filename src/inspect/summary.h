// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <cstddef>
#include <vector>

namespace keldo::inspect {

/// How many services are in each state.
struct Counts {
    std::size_t services = 0;
    std::size_t up = 0;
    std::size_t down = 0;
    std::size_t unknown = 0;
    std::size_t stopped = 0;
    std::size_t unchecked = 0;
};

Counts countsOf(const std::vector<InspectedService>& services);

/// Sums up the inspection in a few sentences in the report's language. Each sentence counts
/// services and has a code: "all_up" if the verdict is well, else "down", "unknown" and "up"; then
/// "stopped" and "unchecked"; then "checked", which counts the services that are up or down, with
/// the duration. Sentences whose count is 0 are left out.
std::vector<Reason> summaryOf(const Inspection& inspection);

} // namespace keldo::inspect
