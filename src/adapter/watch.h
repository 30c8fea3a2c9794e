// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/ending_signals.h"

#include <chrono>

namespace keldo::adapter {

/// The clock by which deadlines are told.
using Clock = std::chrono::steady_clock;

/// What ended a wait.
enum class Wake {
    ready,      ///< there is something to read, or an end of file or an error to be read
    monitEnded, ///< whatever else there is
    timeUp      ///< or, earlier, the system interrupted the wait
};

/// What every wait of this program watches besides its own matter: monit's end (a pidfd), and the
/// signals that ask this program to end (thrown as Interrupted). Both outlive it.
struct Watch {
    int monitEnd;
    const EndingSignals& signals;

    /// Waits until `descriptor` can be read (-1: for nothing more) or until `end`. Throws
    /// Interrupted once a signal has come, and Failure where the system does not let it wait.
    Wake wait(int descriptor, Clock::time_point end) const;
};

} // namespace keldo::adapter
