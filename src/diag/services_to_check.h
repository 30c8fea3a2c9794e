// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <vector>

namespace keldo {

/// Returns the services that should be running, in the order of the checks: the six core services,
/// then the services that the administrator last started through the panel, without those that he
/// last stopped. Reads his actions from the panel database (tables actions, log_actions,
/// log_components) over its own connection. If that fails, prints nothing and returns the list read
/// so far: the core services if there is no database.
///
/// Leaves out services without a readable definition. A core service that was last started is
/// listed twice. Passes on what the catalogue throws for a core service.
std::vector<ServiceDefinition> servicesToCheck();

} // namespace keldo
