// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <cerrno>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace keldo::test {

/// A file in memory, for readers that take a path. It lives as long as this object.
class MemoryFile {
public:
    /// Throws std::system_error if the file cannot be made.
    explicit MemoryFile(const std::string& content) : fd_(memfd_create("input", MFD_CLOEXEC)) {
        const auto size = static_cast<ssize_t>(content.size());
        if (!fd_ || write(fd_.get(), content.data(), content.size()) != size) {
            throw std::system_error(errno, std::generic_category(), "a file in memory");
        }
    }

    /// Each opening reads the content from its start.
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }

private:
    UniqueFd fd_;
};

} // namespace keldo::test
