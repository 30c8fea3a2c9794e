// SPDX-License-Identifier: MIT

#include "fault_plan.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fault_plan {

namespace {

constexpr const char* variables[] = {"LD_PRELOAD",    "FAULT_CALL",  "FAULT_NUMBER",
                                     "FAULT_FOREVER", "FAULT_CHILD", "FAULT_LOG"};
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
    long child = 0; // of the process; 0 is the process itself
};

Plan plan;
long calls = 0; // of the planned function by this process
long forks = 0; // by the planned process; in a fork, its own number
bool inFork = false;

void copyVariable(const char* name, char* copy, size_t size) {
    const char* const value = getenv(name);
    snprintf(copy, size, "%s", value != nullptr ? value : "");
}

void readPlan() {
    plan.known = true;
    char number[32];
    copyVariable("FAULT_CALL", plan.call, sizeof(plan.call));
    copyVariable("FAULT_LOG", plan.log, sizeof(plan.log));
    copyVariable("FAULT_NUMBER", number, sizeof(number));
    plan.number = strtol(number, nullptr, 10);
    plan.forever = getenv("FAULT_FOREVER") != nullptr;
    copyVariable("FAULT_CHILD", number, sizeof(number));
    plan.child = strtol(number, nullptr, 10);
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

} // namespace

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

} // namespace fault_plan
