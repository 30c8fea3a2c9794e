// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::inspect {

/// The version of this program, such as "1.1.0".
extern const char* const programVersion;

} // namespace keldo::inspect
