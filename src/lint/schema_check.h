// SPDX-License-Identifier: MIT

#pragma once

#include "lint/definition_checks.h"
#include "lint/finding.h"

#include <libxml/tree.h>

namespace keldo::lint {

/// Validates a document against the XML Schema of service definitions (schemas/keldo-service.xsd,
/// which is part of the program). Findings about `faultyElements` are left out. The RELAX NG schema
/// is equivalent, but libxml2's messages for it do not name the fault of a value, and some do not
/// name its line.
///
/// Throws std::runtime_error if libxml2 cannot read the schema.
Findings schemaFindings(xmlDoc* document, const Elements& faultyElements);

} // namespace keldo::lint
