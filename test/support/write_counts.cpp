// SPDX-License-Identifier: MIT

/// Linked into every program of a coverage build: libgcov writes what was counted when a process
/// exits, and so the counts of one that ends by _exit(), abort() or raise() would be lost.

#include <csignal>
#include <unistd.h>

extern "C" {
#include <gcov.h> // declares C functions, for C only

[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status);
int __real_raise(int signal);
int __wrap_raise(int signal);
}

void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}

int __wrap_raise(int signal) {
    __gcov_dump();
    return __real_raise(signal);
}

namespace {

/// The signal comes again when the handler has returned, by then with no handler.
void writeCounts(int signal) {
    __gcov_dump();
    __real_raise(signal);
}

[[gnu::constructor]] void catchAbort() {
    struct sigaction action = {};
    action.sa_handler = writeCounts;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGABRT, &action, nullptr);
}

} // namespace
