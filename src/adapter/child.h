// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <sys/types.h>

namespace keldo::adapter {

/// A child process and the process group of which it is, or is about to be, the leader: killed and
/// reaped at the end.
class Child {
public:
    /// `pid` is what fork(2) returned, also where that failed: then there is no child.
    explicit Child(pid_t pid);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Readable once the child has ended. -1 when there is no child or it cannot be watched: errno
    /// says why, right after the constructor.
    int endDescriptor() const { return end_.get(); }

private:
    pid_t pid_;
    UniqueFd end_;
};

} // namespace keldo::adapter
