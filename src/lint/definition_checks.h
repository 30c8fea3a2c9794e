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

/// Finds what keldoctl or the monitor will not do as the author means it; the schema finds the
/// rest. `service` is the root element of the file `path`, `definition` is what keldoctl reads from
/// the file, and `hostName` is the name of this host.
CheckedDefinition checkDefinition(const std::string& path, const xmlNode* service,
                                  const ServiceDefinition& definition, const std::string& hostName);

} // namespace keldo::lint
