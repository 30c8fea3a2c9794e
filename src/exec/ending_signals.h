// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>

namespace keldo {

/// Returns the ending signals: all signals whose default action ends the process, except these:
///   - SIGKILL, which cannot be handled
///   - SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP and SIGSYS, which report an error of the
///     program: it is then in no state to clean up
///   - SIGPIPE and SIGXFSZ, which a run ignores (exec/process_state.h)
/// The set suits sigprocmask(2) and signalfd(2). Its signals have numbers from 1 to SIGRTMAX.
sigset_t endingSignals() noexcept;

/// Blocks the ending signals until release() or destruction. Signals that arrive meanwhile are
/// delivered then.
class HeldEndingSignals {
public:
    HeldEndingSignals() noexcept;
    HeldEndingSignals(const HeldEndingSignals&) = delete;
    HeldEndingSignals& operator=(const HeldEndingSignals&) = delete;
    ~HeldEndingSignals() { release(); }

    void release() noexcept;

private:
    sigset_t previous_;
    bool held_ = true;
};

} // namespace keldo
