// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

namespace keldo {

/// Checks the services that should be running (servicesToCheck) and adds a problem to the run's
/// model for each that is down. The service "mysql" is up if a connection to the panel database
/// opens; any failure counts as down. Any other service is up if monit finds it running. Passes on
/// what servicesToCheck and isServiceRunning throw.
void checkServices();

/// Adds the problem "service-down:ID" of a service, with severity major. Its only solution is the
/// default: the restart of that id, or an empty solution if the id has no definition file.
void reportServiceDown(const ServiceDefinition& service);

} // namespace keldo
