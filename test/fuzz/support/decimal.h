// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace keldo::test {

/// Reads a decimal number: an optional sign, then digits only. Returns nothing for any other text,
/// and for a number of more than 32 bits.
inline std::optional<std::int64_t> decimal(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || text.find_first_not_of("0123456789") != text.npos) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    for (const char digit : text) {
        number = number * 10 + (digit - '0');
        if (number > std::int64_t{UINT32_MAX}) {
            return std::nullopt;
        }
    }
    return isNegative ? -number : number;
}

} // namespace keldo::test
