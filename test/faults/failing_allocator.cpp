// SPDX-License-Identifier: MIT

// Replaces the C library's allocator and makes planned calls fail with ENOMEM (fault_plan.h). Every
// function that allocates counts as "malloc".

#include "fault_plan.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

} // extern "C"

namespace {

bool hasNoMemory() {
    if (!fault_plan::isDue("malloc")) {
        return false;
    }
    errno = ENOMEM;
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

} // extern "C"
