// SPDX-License-Identifier: MIT

// Wraps calls of the C library and changes planned ones (fault_plan.h):
//   read, write, recv, send   move only one byte
//   close                     closes, but fails
//   dup2, system              fail
// The errno of a failure is the number in FAULT_ERROR. Calls inside the C library are not wrapped.

#include "fault_plan.h"

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// Read at the start, because the variable is removed.
int plannedError = 0;

[[gnu::constructor]] void readError() {
    const char* const text = getenv("FAULT_ERROR");
    plannedError = text != nullptr ? std::atoi(text) : 0;
    unsetenv("FAULT_ERROR");
}

/// The wrapped function of that name.
template <typename Function> Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

size_t lengthFor(const char* function, size_t length) {
    return fault_plan::isDue(function) && length > 1 ? 1 : length;
}

bool fails(const char* function) {
    if (!fault_plan::isDue(function)) {
        return false;
    }
    errno = plannedError;
    return true;
}

} // namespace

extern "C" {

ssize_t read(int file, void* buffer, size_t length) {
    static auto* const next = original<decltype(read)>("read");
    return next(file, buffer, lengthFor("read", length));
}

ssize_t write(int file, const void* bytes, size_t length) {
    static auto* const next = original<decltype(write)>("write");
    return next(file, bytes, lengthFor("write", length));
}

ssize_t recv(int socket, void* buffer, size_t length, int flags) {
    static auto* const next = original<decltype(recv)>("recv");
    return next(socket, buffer, lengthFor("recv", length), flags);
}

ssize_t send(int socket, const void* bytes, size_t length, int flags) {
    static auto* const next = original<decltype(send)>("send");
    return next(socket, bytes, lengthFor("send", length), flags);
}

int dup2(int from, int to) noexcept {
    static auto* const next = original<decltype(dup2)>("dup2");
    return fails("dup2") ? -1 : next(from, to);
}

int close(int file) {
    static auto* const next = original<decltype(close)>("close");
    const int result = next(file);
    return fails("close") ? -1 : result;
}

int system(const char* command) {
    static auto* const next = original<decltype(system)>("system");
    return fails("system") ? -1 : next(command);
}

} // extern "C"
