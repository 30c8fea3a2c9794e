// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace keldo::adapter {

/// Thrown if this program cannot answer. The text is the message, one line without the program's
/// name and the line feed.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The failure "WHAT -- REASON", with errno's reason.
Failure failureFromErrno(const std::string& what);

// If the system refuses, each of the functions below throws a Failure with errno's reason.

/// Returns the content of the file `path`.
std::string readFile(const std::string& path);

/// Writes all of `text` to the descriptor `fd`. A failure says "cannot write WHAT".
void writeAll(int fd, std::string_view text, const std::string& what);

/// Creates the file `path`, mode 0600, with the content `text`, and returns it open for appending.
/// Fails if the path exists.
UniqueFd createFile(const std::string& path, std::string_view text);

} // namespace keldo::adapter
