// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::test {

/// What a fuzz target does with one input, any bytes. Defined by each target, called for every
/// input that the fuzzer makes up. An exception that leaves it is a finding, as is a law that the
/// input breaks (support/laws.h).
void tryInput(const std::string& input);

} // namespace keldo::test
