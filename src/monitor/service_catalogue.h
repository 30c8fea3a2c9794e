// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <map>
#include <string>

namespace keldo {

/// A cache of service definitions. It reads each file once, on the first lookup, and never again:
/// later changes of the file are not seen, and a missing file stays missing.
class ServiceCatalogue {
public:
    /// The catalogue of this process, created on first use and destroyed at exit. It is all
    /// process-wide state of this folder.
    static ServiceCatalogue& instance();

    /// Returns a copy of the definition in the file of the service `id`; the file may give it
    /// another id. The copy's id is empty if the file cannot be read. Throws what
    /// ServiceDefinition(id) throws, and then caches nothing.
    ServiceDefinition lookup(const std::string& id);

private:
    std::map<std::string, ServiceDefinition> definitions_; // by the requested id
};

} // namespace keldo
