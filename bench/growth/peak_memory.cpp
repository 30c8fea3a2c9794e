// SPDX-License-Identifier: MIT

#include "peak_memory.h"

#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldo::bench {

namespace {

constexpr std::int64_t kibibyte = 1024;

/// The peak of a child. The kernel counts that of the child's own children in, if it is higher.
std::int64_t peakOfChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(EXIT_SUCCESS);
    }
    int status = 0;
    struct rusage usage = {};
    if (child == -1 || wait4(child, &status, 0, &usage) != child || status != 0) {
        std::perror("a child to measure memory with");
        std::exit(EXIT_FAILURE);
    }
    return usage.ru_maxrss * kibibyte;
}

} // namespace

std::int64_t peakMemory(const std::function<void()>& work) {
    malloc_trim(0); // else work would find memory that an earlier one has left
    return peakOfChild(work) - peakOfChild([] {});
}

} // namespace keldo::bench
