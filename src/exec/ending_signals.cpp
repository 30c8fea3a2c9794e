// SPDX-License-Identifier: MIT

#include "exec/ending_signals.h"

namespace keldo {

HeldEndingSignals::HeldEndingSignals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : endingSignals) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, &previous_);
}

void HeldEndingSignals::release() noexcept {
    if (held_) {
        held_ = false;
        sigprocmask(SIG_SETMASK, &previous_, nullptr);
    }
}

} // namespace keldo
