// SPDX-License-Identifier: MIT

#include "support/memory_file.h"

#include <cerrno>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace keldo::test {

MemoryFile::MemoryFile(const std::string& content) : fd_(memfd_create("input", MFD_CLOEXEC)) {
    if (!fd_ ||
        write(fd_.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        throw std::system_error(errno, std::generic_category(), "a file in memory");
    }
}

} // namespace keldo::test
