// SPDX-License-Identifier: MIT

/// Linked into every program of a coverage build. libgcov writes the counts when a process exits;
/// this also writes them before _exit(), abort() and raise().

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

/// SA_RESETHAND has removed this handler, so the second signal ends the process.
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
