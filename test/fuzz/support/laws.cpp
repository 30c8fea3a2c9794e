// SPDX-License-Identifier: MIT

#include "support/laws.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace keldo::test {

namespace {

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c >= ' ' && c <= '~') {
            result += c;
            continue;
        }
        char escaped[sizeof "\\xNN"];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(c));
        result += escaped;
    }
    return result;
}

} // namespace

void require(bool holds, std::string_view law) {
    if (!holds) {
        std::cerr << "broken law: " << law << std::endl;
        std::abort();
    }
}

void requireEqual(std::string_view expected, std::string_view actual, std::string_view what) {
    if (expected != actual) {
        std::cerr << "broken law: " << what << "\nexpected: " << printable(expected)
                  << "\nactual:   " << printable(actual) << std::endl;
        std::abort();
    }
}

} // namespace keldo::test
