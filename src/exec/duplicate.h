// SPDX-License-Identifier: MIT

#pragma once

#include <cerrno>
#include <unistd.h>

namespace keldo {

/// Makes `target` a duplicate of `descriptor`, by dup2(2), also where signals interrupt it. Returns
/// false with errno where that fails; `target` is then what it was.
inline bool duplicate(int descriptor, int target) noexcept {
    int result = -1;
    do {
        result = dup2(descriptor, target);
    } while (result == -1 && errno == EINTR);
    return result != -1;
}

} // namespace keldo
