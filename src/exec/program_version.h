// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// The version of the programs, such as "1.1.0".
extern const char* const programVersion;

} // namespace keldo
