// SPDX-License-Identifier: MIT

// Preloaded into a program: makes a chosen call of it fail, as the environment says:
//   FAULT_CALL     the function:
//                    read, write, recv, send   move only one byte
//                    close                     closes, but fails
//                    dup2, system              fail
//                    malloc                    fails; every function that allocates counts as
//                    malloc
//   FAULT_NUMBER   the number of its call, from 1
//   FAULT_FOREVER  if set, all later calls fail as well
//   FAULT_CHILD    the number of the fork whose calls count, from 1; 0: the process itself
//   FAULT_ERROR    the number of the errno of a failure; malloc's is ENOMEM
//   FAULT_LOG      a file that gets a line "fault" for each failed call and, if the process exits
//                  by exit(3), "calls N", the number of calls, and "open D" for each open
//                  descriptor above 2
// These variables are removed, so that child programs do not see them. Calls inside the C library
// are not replaced, except for the allocator's. While OpenSSL 3.5 or later starts, no allocation
// fails or counts: it would wait for itself forever.

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

} // extern "C"

namespace {

constexpr const char* variables[] = {"LD_PRELOAD",  "FAULT_CALL",  "FAULT_NUMBER", "FAULT_FOREVER",
                                     "FAULT_CHILD", "FAULT_ERROR", "FAULT_LOG"};
constexpr int firstOtherDescriptor = 3;
constexpr int descriptorsLookedAt = 64;

/// Read from the environment at the first call, which may come before main(). The texts are copied,
/// because the variables are removed.
struct Plan {
    bool known = false;
    char call[32] = "";
    char log[PATH_MAX] = "";
    long number = 0;
    bool forever = false;
    int error = 0;
    long child = 0; // the number of the fork whose calls count; 0: the process itself
};

Plan plan;
long calls = 0; // of the planned function by this process
long forks = 0; // by the planned process; in a fork, its own number
bool inFork = false;
bool needsMemory = false; // a library is running that hangs without memory

void copyVariable(const char* name, char* copy, size_t size) {
    const char* const value = getenv(name);
    snprintf(copy, size, "%s", value != nullptr ? value : "");
}

long numberIn(const char* name) {
    const char* const value = getenv(name);
    return value != nullptr ? strtol(value, nullptr, 10) : 0;
}

void readPlan() {
    plan.known = true;
    copyVariable("FAULT_CALL", plan.call, sizeof(plan.call));
    copyVariable("FAULT_LOG", plan.log, sizeof(plan.log));
    plan.number = numberIn("FAULT_NUMBER");
    plan.forever = getenv("FAULT_FOREVER") != nullptr;
    plan.child = numberIn("FAULT_CHILD");
    plan.error = static_cast<int>(numberIn("FAULT_ERROR"));
}

/// Uses system calls only, because the functions may be the ones that fail.
void log(const char* line) {
    const long file = syscall(SYS_openat, AT_FDCWD, plan.log,
                              O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    syscall(SYS_write, file, line, strlen(line));
    syscall(SYS_close, file);
}

[[gnu::constructor]] void forgetVariables() {
    if (!plan.known) {
        readPlan();
    }
    for (const char* const name : variables) {
        unsetenv(name);
    }
    pthread_atfork([] { ++forks; }, nullptr, [] { inFork = true; });
}

[[gnu::destructor]] void logEnd() {
    if (inFork) {
        return;
    }
    char line[64];
    snprintf(line, sizeof(line), "calls %ld\n", calls);
    log(line);
    for (int descriptor = firstOtherDescriptor; descriptor < descriptorsLookedAt; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            snprintf(line, sizeof(line), "open %d\n", descriptor);
            log(line);
        }
    }
}

/// Returns whether the current call of `function` must fail, and logs that. Call it once for each
/// call. Does not allocate and does not change errno.
bool isDue(const char* function) {
    if (environ == nullptr) {
        return false; // a call of the loader, before the C library is set up
    }
    if (!plan.known) {
        readPlan();
    }
    if (strcmp(function, plan.call) != 0 || (inFork ? forks : 0) != plan.child) {
        return false;
    }
    ++calls;
    const bool due =
        calls == plan.number || (plan.forever && calls > plan.number && plan.number > 0);
    if (due) {
        const int error = errno;
        log("fault\n");
        errno = error;
    }
    return due;
}

bool hasNoMemory() {
    if (needsMemory || !isDue("malloc")) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

/// The wrapped function of that name.
template <typename Function> Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

size_t lengthFor(const char* function, size_t length) {
    return isDue(function) && length > 1 ? 1 : length;
}

bool fails(const char* function) {
    if (!isDue(function)) {
        return false;
    }
    errno = plan.error;
    return true;
}

} // namespace

extern "C" {

void* malloc(size_t size) {
    return hasNoMemory() ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return hasNoMemory() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
    return hasNoMemory() ? nullptr : __libc_realloc(memory, size);
}

void* reallocarray(void* memory, size_t count, size_t size) {
    if (size != 0 && count > SIZE_MAX / size) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(memory, count * size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return hasNoMemory() ? nullptr : __libc_memalign(alignment, size);
}

void* memalign(size_t alignment, size_t size) {
    return aligned_alloc(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
    void* const block = aligned_alloc(alignment, size);
    if (block == nullptr) {
        return ENOMEM;
    }
    *memory = block;
    return 0;
}

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

/// Called by the database's client library, with which the loader has loaded OpenSSL.
int OPENSSL_init_ssl(uint64_t options, const void* settings) {
    needsMemory = true; // dlopen allocates
    void* const library = dlopen("libssl.so.3", RTLD_LAZY | RTLD_NOLOAD);
    auto* const next =
        reinterpret_cast<decltype(OPENSSL_init_ssl)*>(dlsym(library, "OPENSSL_init_ssl"));
    auto* const version =
        reinterpret_cast<unsigned long (*)()>(dlsym(library, "OpenSSL_version_num"));
    constexpr unsigned long firstThatHangs = 0x30500000; // 3.5.0
    needsMemory = version() >= firstThatHangs;
    const int result = next(options, settings);
    needsMemory = false;
    dlclose(library);
    return result;
}

} // extern "C"
