// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <csignal>
#include <exception>

namespace keldo::adapter {

/// A signal asks this program to end. Thrown so that the owners on the way clean up.
struct Interrupted : std::exception {
    explicit Interrupted(int number) : signalNumber(number) {}
    int signalNumber;
};

/// While it lives, the signals that ask this program to end (SIGHUP, SIGINT, SIGQUIT, SIGTERM) are
/// not delivered but read from a descriptor; at its end, those that were not read are delivered. A
/// signal that the caller had set to be ignored stays ignored.
class EndingSignals {
public:
    /// Throws Failure where the system has no such descriptor to give.
    EndingSignals();
    ~EndingSignals() { sigprocmask(SIG_SETMASK, &maskBefore_, nullptr); }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    /// Readable once such a signal has come.
    int descriptor() const { return descriptor_.get(); }
    /// Throws the signal that has come as Interrupted; waits for one if none has come.
    [[noreturn]] void raiseAsException() const;

private:
    sigset_t maskBefore_{};
    UniqueFd descriptor_;
};

} // namespace keldo::adapter
