// SPDX-License-Identifier: MIT

#pragma once

#include "lint/placed_finding.h"
#include "monitor/service_definition.h"

#include <libxml/tree.h>
#include <string>

namespace keldo::lint {

/// Whether this is a root element of which keldoctl reads a definition.
bool isServiceElement(const xmlNode* root);

/// Finds what keldoctl or the monitor would not do as the author means it, beyond what the schema
/// tells. `service` is the root element of the file `path`, `definition` what keldoctl reads of it,
/// and `hostName` the name of the host that the file is looked at on.
PlacedFindings checkDefinition(const std::string& path, const xmlNode* service,
                               const ServiceDefinition& definition, const std::string& hostName);

} // namespace keldo::lint
