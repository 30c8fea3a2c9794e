// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <libxml/tree.h>
#include <string>

namespace keldo {

/// Returns the line of a definition from which keldoctl makes line `controlFileLine` of its control
/// file. Both count from 1. `root` is the root element of the document from which `definition` was
/// read. Returns 0 if the control file has no such line.
long definitionLine(const xmlNode* root, const ServiceDefinition& definition, long controlFileLine);

/// The same for the definition file `path`. Returns 0 also if the file cannot be read.
long definitionLine(const std::string& path, long controlFileLine);

} // namespace keldo
