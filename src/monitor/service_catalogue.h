// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <map>
#include <string>

namespace keldo {

/// The service definitions that were asked for, each read from its file once. It only grows, and
/// does not see later changes of a file; a missing file is remembered like any other.
class ServiceCatalogue {
public:
    /// The run's own catalogue: made on first use, lives until exit.
    static ServiceCatalogue& instance();

    /// A copy of the definition of the service `id`, whatever id its file gives it. Its id is empty
    /// where there is no readable file. Passes on what ServiceDefinition(id) throws; nothing is
    /// remembered then.
    ServiceDefinition lookup(const std::string& id);

private:
    std::map<std::string, ServiceDefinition> definitions_; // by the id asked for
};

} // namespace keldo
