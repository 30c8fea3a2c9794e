// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace keldo::test {

/// The C functions whose failure a test can order.
enum class Call { malloc, calloc, realloc, strdup, vasprintf };

/// Makes the `number`-th call of `call` from now on fail with ENOMEM, and no other; with 0, none.
void failCall(Call call, int number = 1);

/// Makes that many calls of `call` fail with ENOMEM, from the next one on.
void failNextCalls(Call call, int count);

/// What errno is after a failed call from now on; ENOMEM at first.
void setErrnoOfFailures(int error);

/// Lets free() set errno, as POSIX allowed it to until 2024; 0 lets it not.
void setErrnoInFree(int error);

/// The sizes in bytes that realloc() is asked for by `action`, also in vain.
std::vector<size_t> reallocSizesIn(const std::function<void()>& action);

} // namespace keldo::test
