// SPDX-License-Identifier: MIT

#pragma once

#include <string_view>

namespace keldo::test {

/// Ends the process by abort() unless `holds`, after printing `law`: the fuzzer keeps the input as
/// a finding.
void require(bool holds, std::string_view law);

/// The same for two texts that have to be equal; both are printed, bytes that are not ASCII
/// as \xNN.
void requireEqual(std::string_view expected, std::string_view actual, std::string_view what);

} // namespace keldo::test
