// SPDX-License-Identifier: MIT

#include "adapter/child.h"

#include <csignal>
#include <sys/wait.h>

extern "C" { // glibc 2.36, Debian 12's, forgets this in the header itself
#include <sys/pidfd.h>
}

namespace keldo::adapter {

Child::Child(pid_t pid) : pid_(pid), end_(pid > 0 ? pidfd_open(pid, 0) : -1) {}

Child::~Child() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL); // it may not have come to make its group yet
        kill(-pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

} // namespace keldo::adapter
