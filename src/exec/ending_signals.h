// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>

namespace keldo {

/// The signals that end a process by default and that it may handle to clean up first. Not among
/// them: SIGKILL; the signals of program errors (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP,
/// SIGSYS), after which the process is in no state to clean up; SIGPIPE and SIGXFSZ, which a run
/// ignores (exec/process_state.h). The set suits sigprocmask(2) and signalfd(2); the signals in
/// it are from 1 to SIGRTMAX.
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
