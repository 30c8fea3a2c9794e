// SPDX-License-Identifier: MIT

#include "adapter/watch.h"

#include "adapter/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>

namespace keldo::adapter {

using std::chrono::milliseconds;

Wake Watch::wait(int descriptor, Clock::time_point end) const {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
    const int timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    std::array<pollfd, 3> polled = {{
        {signals.descriptor(), POLLIN, 0},
        {monitEnd, POLLIN, 0},
        {descriptor, POLLIN, 0},
    }};
    const int count = poll(polled.data(), polled.size(), timeout);
    if (count < 0 && errno != EINTR) {
        throw failureFromErrno("cannot wait");
    }
    if (count > 0 && polled[0].revents != 0) {
        signals.raiseAsException();
    }
    if (count > 0 && polled[1].revents != 0) {
        return Wake::monitEnded;
    }
    return count > 0 ? Wake::ready : Wake::timeUp;
}

} // namespace keldo::adapter
