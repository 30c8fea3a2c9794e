// SPDX-License-Identifier: MIT

#include "exec/program_name.h"

namespace keldo {

std::string programName;

} // namespace keldo
