// SPDX-License-Identifier: MIT

#include "monitor/ending_signals.h"

namespace keldo {

HeldEndingSignals::HeldEndingSignals() noexcept {
    sigprocmask(SIG_SETMASK, nullptr, &previous_);
    sigset_t signals = previous_;
    for (const int signal : endingSignals) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_SETMASK, &signals, nullptr);
}

void HeldEndingSignals::release() noexcept {
    if (held_) {
        held_ = false;
        sigprocmask(SIG_SETMASK, &previous_, nullptr);
    }
}

} // namespace keldo
