// SPDX-License-Identifier: MIT

#include "adapter/ending_signals.h"

#include "adapter/failure.h"

#include <array>
#include <sys/signalfd.h>
#include <unistd.h>

namespace keldo::adapter {

namespace {

const std::array<int, 4> endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

} // namespace

EndingSignals::EndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : endingSignals) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&signals, number);
        }
    }
    descriptor_ = UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!descriptor_) {
        throw failureFromErrno("cannot watch for signals");
    }
    sigprocmask(SIG_BLOCK, &signals, &maskBefore_);
}

void EndingSignals::raiseAsException() const {
    signalfd_siginfo info{};
    if (read(descriptor_.get(), &info, sizeof info) != sizeof info) {
        throw failureFromErrno("cannot read a signal");
    }
    throw Interrupted(static_cast<int>(info.ssi_signo));
}

} // namespace keldo::adapter
