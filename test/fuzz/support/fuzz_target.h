// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::test {

/// Each target defines this; it is called for every input (any bytes) that the fuzzer makes up. An
/// exception that leaves it is a finding, and so is a broken law (support/laws.h).
void tryInput(const std::string& input);

} // namespace keldo::test
