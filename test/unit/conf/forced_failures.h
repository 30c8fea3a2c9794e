// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace keldo::test {

/// The C functions that a test can make fail.
enum class Call { malloc, calloc, realloc, strdup, vasprintf };

/// Makes only the `number`-th call of `call` from now on fail with ENOMEM; 0 cancels the failure.
void failCall(Call call, int number = 1);

/// Makes the next `count` calls of `call` fail with ENOMEM.
void failNextCalls(Call call, int count);

/// Sets the errno of failed calls from now on; ENOMEM at first.
void setErrnoOfFailures(int error);

/// Makes free() set errno, which POSIX allowed until 2024; 0 stops that.
void setErrnoInFree(int error);

/// Returns the sizes in bytes of all realloc() calls during `action`, failed ones included.
std::vector<size_t> reallocSizesIn(const std::function<void()>& action);

} // namespace keldo::test
