// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

namespace keldo {

/// Checks the services that ought to be running (servicesToCheck) and adds a problem to the run's
/// model for each that is down. The service "mysql" is up when a connection to the panel database
/// opens, whatever the reason that it does not; any other when monit finds it running. Passes on
/// what servicesToCheck and isServiceRunning throw.
void checkServices();

/// Adds the problem "service-down:" + id of a service, major, with the restart of the service as
/// its only and default solution: an empty one where the id has no definition of its own.
void reportServiceDown(const ServiceDefinition& service);

} // namespace keldo
