// SPDX-License-Identifier: MIT

#pragma once

#include <string_view>

namespace keldo::test {

/// Unless `holds`, prints `law` and aborts: the fuzzer keeps the input as a finding.
void require(bool holds, std::string_view law);

/// Unless both texts are equal, prints them and aborts. `what` names them in the message. Bytes
/// that are not printable appear as \xNN.
void requireEqual(std::string_view expected, std::string_view actual, std::string_view what);

} // namespace keldo::test
