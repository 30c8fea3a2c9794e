// SPDX-License-Identifier: MIT

#include "adapter/file.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/types.h>
#include <system_error>
#include <unistd.h>

namespace keldo::adapter {

Failure failureFromErrno(const std::string& what) {
    const int reason = errno;
    return Failure(what + " -- " + std::generic_category().message(reason));
}

std::string readFile(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    std::array<char, 16384> buffer;
    for (;;) {
        const ssize_t count = file ? read(file.get(), buffer.data(), buffer.size()) : -1;
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(buffer.data(), static_cast<size_t>(count));
        } else if (!file || errno != EINTR) {
            throw failureFromErrno("cannot read a file -- " + path);
        }
    }
}

void writeAll(int fd, std::string_view text, const std::string& what) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR) {
            throw failureFromErrno("cannot write " + what);
        }
    }
}

UniqueFd createFile(const std::string& path, std::string_view text) {
    UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
    if (!file) {
        throw failureFromErrno("cannot make a file -- " + path);
    }
    writeAll(file.get(), text, path);
    return file;
}

} // namespace keldo::adapter
