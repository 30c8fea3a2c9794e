// SPDX-License-Identifier: MIT

#pragma once

#include "lint/placed_finding.h"

#include <libxml/tree.h>

namespace keldo::lint {

/// What the schema of service definitions (schemas/keldo-service.xsd, which is part of the program)
/// says against a document. The XML Schema is taken for its messages: of the RELAX NG one, which
/// says the same, libxml2 tells neither what is wrong with a value nor always the line.
///
/// Throws std::runtime_error where libxml2 cannot read the schema.
PlacedFindings schemaFindings(xmlDoc* document);

} // namespace keldo::lint
