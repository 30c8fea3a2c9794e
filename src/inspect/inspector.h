// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <cstddef>
#include <functional>
#include <string>

namespace keldo::inspect {

/// Makes an inspection that ends at `deadline`, and adds its problems to problemModel. The database
/// and the upgrade tool are asked first, at the same time, then the monitor, for `jobs` batches at
/// once. Calls `tell` with how far it is, about once a second. Host, start and duration are left to
/// the caller. Throws Interrupted if a signal asks for the end, and std::system_error if the system
/// does not give what it takes to watch children.
Inspection inspectServices(std::size_t jobs, Clock::time_point deadline,
                           const std::function<void(const std::string&)>& tell);

} // namespace keldo::inspect
