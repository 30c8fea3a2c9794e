// SPDX-License-Identifier: MIT

#include "diag/services_to_check.h"

#include "diag/action_log.h"
#include "monitor/service_catalogue.h"

#include <string>

namespace keldo {

namespace {

using Services = std::vector<ServiceDefinition>;

ServiceDefinition lookup(const std::string& id) {
    return ServiceCatalogue::instance().lookup(id);
}

void applyActionLog(Services& services) {
    ActionLog log;
    for (const std::string& id : log.lastStarted()) {
        services.push_back(lookup(id));
    }
    for (const std::string& id : log.lastStopped()) {
        std::erase_if(services,
                      [&id](const ServiceDefinition& service) { return service.id == id; });
    }
}

} // namespace

std::vector<ServiceDefinition> servicesToCheck() {
    Services services;
    for (const char* const id : coreServices) {
        services.push_back(lookup(id));
    }
    try {
        applyActionLog(services);
    } catch (...) { // A failed database must not end the diagnosis: keep the list made so far.
    }
    std::erase_if(services, [](const ServiceDefinition& service) { return service.id.empty(); });
    return services;
}

} // namespace keldo
