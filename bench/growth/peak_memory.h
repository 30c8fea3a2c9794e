// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>

namespace keldo::bench {

/// How many bytes more than nothing at all the work takes at its worst: the peak of the resident
/// memory of a child process that does it, less that of one that does nothing.
std::int64_t peakMemory(const std::function<void()>& work);

} // namespace keldo::bench
