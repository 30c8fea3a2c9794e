// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <string>

namespace keldo::inspect {

/// The version of the document's format. It increases if something is removed or changes its
/// meaning, but not if something is added.
inline constexpr int formatVersion = 1;

/// Return the inspection together with the report on problemModel: as an XML document in UTF-8, or
/// as a JSON text with the same data, names and order. schemas/keldoctl-inspection.rnc and
/// keldoctl-inspection.schema.json describe them. Throws std::runtime_error if the report or the
/// document cannot be made.
std::string xmlDocument(const Inspection& inspection);
std::string jsonDocument(const Inspection& inspection);

} // namespace keldo::inspect
