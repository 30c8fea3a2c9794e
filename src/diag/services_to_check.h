// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <array>
#include <vector>

namespace keldo {

/// The ids of the services that are always checked, in this order, unless the administrator stopped
/// them.
inline constexpr std::array coreServices = {"mysql", "keldo", "smtp", "web", "dns", "mail"};

/// Returns the services that should be running, in the order of the checks: the six core services,
/// then each service whose latest action by the administrator was a start through the panel. Leaves
/// out a service, core ones included, whose latest action was a stop. Reads these actions from the
/// panel database (tables actions, log_actions, log_components) over a connection of its own. If
/// that fails, prints nothing and returns the list made so far: without a database, the core
/// services.
///
/// Leaves out services without a readable definition. A core service whose latest action was a
/// start is listed twice. Passes on what the catalogue throws for a core service.
std::vector<ServiceDefinition> servicesToCheck();

} // namespace keldo
