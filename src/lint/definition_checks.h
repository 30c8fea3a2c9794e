// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"
#include "monitor/service_definition.h"

#include <libxml/tree.h>
#include <string>
#include <unordered_set>

namespace keldo::lint {

/// Elements of a document, valid as long as the document.
using Elements = std::unordered_set<const xmlNode*>;

/// The findings of checkDefinition.
struct CheckedDefinition {
    Findings findings;
    Elements faultyElements; ///< the elements with an error
};

/// Whether keldoctl reads a definition from a document with this root element.
bool isServiceElement(const xmlNode* root);

/// Finds the faults that make keldoctl or monit do something else than the definition seems to say;
/// the schema finds the others. `service` is the root element of the file `path`, `definition` is
/// what keldoctl reads from the file, and `hostName` is the name of this host.
CheckedDefinition checkDefinition(const std::string& path, const xmlNode* service,
                                  const ServiceDefinition& definition, const std::string& hostName);

} // namespace keldo::lint
