// SPDX-License-Identifier: MIT

#pragma once

#include <exception>
#include <string>

namespace keldo::test {

/// What the exception that `call` throws says; empty if it throws none.
template <typename Call> std::string failureOf(const Call& call) {
    try {
        call();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "";
}

} // namespace keldo::test
