// SPDX-License-Identifier: MIT

#include "exec/ending_signals.h"

namespace keldo {

namespace {

constexpr int namedEndingSignals[] = {
    SIGHUP,    SIGINT,  SIGQUIT, SIGUSR1,   SIGUSR2, SIGALRM,
    SIGTERM,   SIGXCPU, SIGIO,   SIGVTALRM, SIGPROF, SIGPWR,
#ifdef SIGSTKFLT // some architectures lack it
    SIGSTKFLT,
#endif
};

} // namespace

sigset_t endingSignals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : namedEndingSignals) {
        sigaddset(&signals, signal);
    }
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        sigaddset(&signals, signal);
    }
    return signals;
}

HeldEndingSignals::HeldEndingSignals() noexcept {
    const sigset_t signals = endingSignals();
    sigprocmask(SIG_BLOCK, &signals, &previous_);
}

void HeldEndingSignals::release() noexcept {
    if (held_) {
        held_ = false;
        sigprocmask(SIG_SETMASK, &previous_, nullptr);
    }
}

} // namespace keldo
