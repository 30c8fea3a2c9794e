// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <cstddef>
#include <functional>
#include <string>

namespace keldo::inspect {

/// Makes an inspection that ends at `deadline`, and adds its problems to problemModel. The database
/// and the upgrade tool are asked first, at the same time; then the monitor, with `jobs` batches at
/// once. Calls `tell` about once a second with a line on the progress. The caller sets host, start
/// and duration. Throws Interrupted if a signal asks the program to end, and std::system_error if
/// children cannot be watched.
Inspection inspectServices(std::size_t jobs, Clock::time_point deadline,
                           const std::function<void(const std::string&)>& tell);

} // namespace keldo::inspect
