// SPDX-License-Identifier: MIT

#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

/* Owners of what the C library hands out. Releasing leaves errno as it was, which may be on its
 * way to a caller who is to learn why something failed. */

struct close_file {
    void operator()(FILE* file) const noexcept {
        const int error = errno;
        fclose(file);
        errno = error;
    }
};

/* A stream of fopen(). */
using file_handle = std::unique_ptr<FILE, close_file>;

struct free_memory {
    void operator()(char* text) const noexcept {
        const int error = errno;
        free(text);
        errno = error;
    }
};

/* A string of malloc(), strdup() and the like. */
using heap_text = std::unique_ptr<char, free_memory>;
