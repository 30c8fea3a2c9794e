// SPDX-License-Identifier: MIT

#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace keldo {

/// Owns one file descriptor; -1 means none.
class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ != -1; }

    /// Closes the descriptor and owns `fd` instead.
    void reset(int fd = -1) noexcept {
        if (fd_ != -1) {
            close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_;
};

/// Makes `target` a duplicate of `descriptor` with dup2(2), which is retried if a signal interrupts
/// it. Returns false with errno if it fails; `target` is unchanged then.
inline bool duplicate(int descriptor, int target) noexcept {
    int result = -1;
    do {
        result = dup2(descriptor, target);
    } while (result == -1 && errno == EINTR);
    return result != -1;
}

} // namespace keldo
