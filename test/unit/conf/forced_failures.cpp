// SPDX-License-Identifier: MIT

#include "forced_failures.h"

#include <array>
#include <cerrno>
#include <cstdarg>

namespace {

using keldo::test::Call;

/// The calls of a function that will fail.
struct Failures {
    int successes = 0; ///< before the first failure
    int count = 0;
};

std::array<Failures, 5> failures; // one for each Call

int errnoOfFailures = ENOMEM;

Failures& failuresOf(Call call) {
    return failures.at(static_cast<size_t>(call));
}

bool fails(Call call) {
    Failures& planned = failuresOf(call);
    if (planned.count == 0 || planned.successes-- > 0) {
        return false;
    }
    planned.successes = 0;
    --planned.count;
    errno = errnoOfFailures;
    return true;
}

std::vector<size_t> reallocSizes;
int errnoOfFree = 0;

} // namespace

namespace keldo::test {

void failCall(Call call, int number) {
    failuresOf(call) = {.successes = number - 1, .count = number > 0 ? 1 : 0};
}

void failNextCalls(Call call, int count) {
    failuresOf(call) = {.successes = 0, .count = count};
}

void setErrnoOfFailures(int error) {
    errnoOfFailures = error;
}

void setErrnoInFree(int error) {
    errnoOfFree = error;
}

std::vector<size_t> reallocSizesIn(const std::function<void()>& action) {
    reallocSizes.clear();
    action();
    return reallocSizes;
}

} // namespace keldo::test

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);
char* __real_strdup(const char* text);
void __real_free(void* memory);
int __real_vasprintf(char** text, const char* format, va_list args);
int __real___vasprintf_chk(char** text, int flag, const char* format, va_list args);

void* __wrap_malloc(size_t size) {
    return fails(Call::malloc) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return fails(Call::calloc) ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* memory, size_t size) {
    reallocSizes.push_back(size);
    return fails(Call::realloc) ? nullptr : __real_realloc(memory, size);
}

char* __wrap_strdup(const char* text) {
    return fails(Call::strdup) ? nullptr : __real_strdup(text);
}

void __wrap_free(void* memory) {
    __real_free(memory);
    if (errnoOfFree != 0) {
        errno = errnoOfFree;
    }
}

int __wrap_vasprintf(char** text, const char* format, va_list args) {
    return fails(Call::vasprintf) ? -1 : __real_vasprintf(text, format, args);
}

// _FORTIFY_SOURCE replaces vasprintf() by this.
int __wrap___vasprintf_chk(char** text, int flag, const char* format, va_list args) {
    return fails(Call::vasprintf) ? -1 : __real___vasprintf_chk(text, flag, format, args);
}
}
