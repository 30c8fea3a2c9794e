// SPDX-License-Identifier: MIT

#include "monitor/service_catalogue.h"

namespace keldo {

ServiceCatalogue& ServiceCatalogue::instance() {
    static ServiceCatalogue catalogue;
    return catalogue;
}

ServiceDefinition ServiceCatalogue::lookup(const std::string& id) {
    auto found = definitions_.find(id);
    if (found == definitions_.end()) {
        found = definitions_.emplace(id, ServiceDefinition(id)).first;
    }
    return found->second;
}

} // namespace keldo
