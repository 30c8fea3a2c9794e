// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>

namespace keldo::test {

/// A file in memory, for readers that take a path. It is gone with this object.
class MemoryFile {
public:
    /// Throws std::system_error where the file cannot be made.
    explicit MemoryFile(const std::string& content);

    /// Opening it reads the content from its start.
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }

private:
    UniqueFd fd_;
};

} // namespace keldo::test
