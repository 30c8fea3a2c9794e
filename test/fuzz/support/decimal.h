// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace keldo::test {

/// The number that a whole text is in decimal: an optional sign, then digits and nothing else.
/// Nothing for any other text, and for a number of more than 32 bits.
std::optional<std::int64_t> decimal(std::string_view text);

} // namespace keldo::test
