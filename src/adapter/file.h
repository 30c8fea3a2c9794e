// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>
#include <string_view>

namespace keldo::adapter {

// Whole texts, read and written. Where the system refuses, each function throws a Failure that
// gives errno's reason.

/// What is in the file `path`.
std::string readFile(const std::string& path);

/// Writes all of `text` to the descriptor `fd`; `what` tells in a failure's text what that is.
void writeAll(int fd, std::string_view text, const std::string& what);

/// Makes the file `path`, mode 0600, with `text` in it, and gives it open for appending; it must
/// not exist yet.
UniqueFd createFile(const std::string& path, std::string_view text);

} // namespace keldo::adapter
