// SPDX-License-Identifier: MIT

#include "support/decimal.h"

namespace keldo::test {

std::optional<std::int64_t> decimal(std::string_view text) {
    constexpr std::int64_t largest = UINT32_MAX;
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        number = number * 10 + (c - '0');
        if (number > largest) {
            return std::nullopt;
        }
    }
    return isNegative ? -number : number;
}

} // namespace keldo::test
