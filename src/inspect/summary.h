// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <cstddef>
#include <string>
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

/// The inspection in a few counted sentences, in the report's language, each with the code of what
/// it counts: "all_up" if the verdict is well, else "down", "unknown" and "up"; then "stopped" and
/// "unchecked"; and "checked", with the time that it took. A sentence whose count is 0 is left out.
std::vector<Reason> summaryOf(const Inspection& inspection);

} // namespace keldo::inspect
