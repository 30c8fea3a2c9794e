// SPDX-License-Identifier: MIT

#include "conf/assertion.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

void assertion_failed(const char* text, const char* source, int line, const char* function) {
    fprintf(stderr, "%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name,
            source, line, function, text);
    fflush(stderr);
    abort();
}
