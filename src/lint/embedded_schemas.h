// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::lint {

/// The texts of schemas/keldo-service.xsd and of the xml.xsd that it imports.
extern const char* const serviceSchema;
extern const char* const xmlAttributesSchema;

} // namespace keldo::lint
