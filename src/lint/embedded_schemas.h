// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::lint {

/// The texts of schemas/keldo-service.xsd and of xml.xsd, which it imports.
extern const char* const serviceSchema;
extern const char* const xmlAttributesSchema;

} // namespace keldo::lint
