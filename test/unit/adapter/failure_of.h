// SPDX-License-Identifier: MIT

#pragma once

#include <exception>
#include <string>

namespace keldo::test {

/// The message of the exception that `call` throws; empty if it throws none.
template <typename Call> std::string failureOf(const Call& call) {
    try {
        call();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "";
}

} // namespace keldo::test
