// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"
#include "monitor/service_definition.h"

#include <string>

namespace keldo::inspect {

/// The definition of a service, or why there is none to work with.
struct FoundDefinition {
    std::string path;             ///< of its file
    ServiceDefinition definition; ///< its id is empty if it cannot be used at all
    Reason fault;                 ///< its code is empty if there is none
    std::string detail;           ///< the XML parser's words
};

/// Looks up the definition of the service `id` in the run's catalogue. Opens only regular files,
/// since opening another file might block.
FoundDefinition findDefinition(const std::string& id);

/// Whether the file is a regular file that may be read.
bool isReadableFile(const std::string& path);

} // namespace keldo::inspect
