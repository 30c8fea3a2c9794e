// SPDX-License-Identifier: MIT

#pragma once

#include <stdexcept>
#include <string>

namespace keldo::adapter {

/// Something that prevents an answer; its text is one line without program name and line feed.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The failure with the text "WHAT -- REASON", the reason being errno's.
Failure failureFromErrno(const std::string& what);

} // namespace keldo::adapter
