// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <string>

namespace keldo::inspect {

/// The version of the document's format. It is raised if something is removed or changes its
/// meaning; additions keep it.
inline constexpr int formatVersion = 1;

/// The inspection and the report of the run's own model (problemModel), as an XML document in UTF-8
/// or as a JSON text with the same data, names and order. schemas/keldoctl-inspection.rnc and
/// keldoctl-inspection.schema.json describe them. Throws std::runtime_error if the report or the
/// document cannot be made.
std::string xmlDocument(const Inspection& inspection);
std::string jsonDocument(const Inspection& inspection);

} // namespace keldo::inspect
