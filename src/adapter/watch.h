// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <chrono>
#include <csignal>
#include <exception>

namespace keldo::adapter {

/// The clock of all deadlines.
using Clock = std::chrono::steady_clock;

/// A signal asks this program to end. Thrown so that destructors clean up.
struct Interrupted : std::exception {
    explicit Interrupted(int number) : signalNumber(number) {}
    int signalNumber;
};

/// Waits that also end when a signal arrives. While the object lives, it blocks SIGCHLD and every
/// signal that would end the program before it can clean up (exec/ending_signals.h, SIGPIPE and
/// SIGXFSZ), and reads them from a descriptor. Its destructor unblocks them, so the system then
/// delivers the signals that were not read. A signal that the caller ignores stays ignored.
class Watch {
public:
    /// Throws Failure if the system provides no such descriptor.
    Watch();
    ~Watch() { sigprocmask(SIG_SETMASK, &maskBefore_, nullptr); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Waits until `descriptor` (-1: none) can be read, or until `end`. Returns true if it can be
    /// read; false at `end`, or earlier if a child may have ended. Throws Interrupted if a signal
    /// asks the program to end, and Failure if the system refuses to wait.
    bool wait(int descriptor, Clock::time_point end) const;

private:
    void readSignal() const;

    sigset_t maskBefore_{};
    UniqueFd signals_;
};

} // namespace keldo::adapter
