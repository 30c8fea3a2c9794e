// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <vector>

namespace keldo {

/// The services that ought to be running, in the order in which they are to be checked: the six
/// core services, then those that the administrator last started through the panel, less those
/// that he last stopped. What the administrator did is read from the panel database's action log
/// (tables actions, log_actions, log_components) over a connection of its own. Where that fails, no
/// message is given and the list stays as it is until then: without a database, the core services.
///
/// Services without a readable definition are left out; a core service that was last started is
/// listed twice. Passes on what the catalogue throws for a core service.
std::vector<ServiceDefinition> servicesToCheck();

} // namespace keldo
