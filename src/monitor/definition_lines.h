// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The line of the definition file `path` that line `controlFileLine` of its control file comes
/// from. Both count from 1. Returns 0 if the control file has no such line.
long definitionLine(const std::string& path, long controlFileLine);

} // namespace keldo
