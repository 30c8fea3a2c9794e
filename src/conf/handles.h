// SPDX-License-Identifier: MIT

#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

/* Owners of resources of the C library. Their destructors preserve errno, since it may already hold
 * the reason of a failure for the caller. */

struct close_file {
    void operator()(FILE* file) const noexcept {
        const int error = errno;
        fclose(file);
        errno = error;
    }
};

/* A stream from fopen(). */
using file_handle = std::unique_ptr<FILE, close_file>;

struct free_memory {
    void operator()(char* text) const noexcept {
        const int error = errno;
        free(text);
        errno = error;
    }
};

/* A string from malloc(), strdup() and the like. */
using heap_text = std::unique_ptr<char, free_memory>;
