// SPDX-License-Identifier: MIT

#pragma once

#include <string_view>

namespace keldo::test {

/// Unless `holds`, prints `law` and aborts: the fuzzer keeps the input as a finding.
void require(bool holds, std::string_view law);

/// The same unless two texts are equal. Prints both, with \xNN for bytes that are not printable.
void requireEqual(std::string_view expected, std::string_view actual, std::string_view what);

} // namespace keldo::test
