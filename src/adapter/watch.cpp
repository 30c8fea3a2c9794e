// SPDX-License-Identifier: MIT

#include "adapter/watch.h"

#include "adapter/file.h"
#include "exec/ending_signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace keldo::adapter {

namespace {

bool isIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

/// The signals that a Watch blocks, except SIGCHLD.
sigset_t signalsThatEndThisProgram() {
    sigset_t signals = endingSignals();
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGXFSZ);
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (sigismember(&signals, signal) == 1 && isIgnored(signal)) {
            sigdelset(&signals, signal);
        }
    }
    return signals;
}

} // namespace

Watch::Watch() {
    sigset_t signals = signalsThatEndThisProgram();
    // Announces the end of a child. A pidfd would too, but pidfd_open(2) may be missing or
    // forbidden.
    sigaddset(&signals, SIGCHLD);
    signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!signals_) {
        throw failureFromErrno("cannot watch for signals");
    }
    sigprocmask(SIG_BLOCK, &signals, &maskBefore_);
}

void Watch::readSignal() const {
    signalfd_siginfo info{};
    if (read(signals_.get(), &info, sizeof info) != sizeof info) {
        throw failureFromErrno("cannot read a signal");
    }
    if (info.ssi_signo != SIGCHLD) {
        throw Interrupted(static_cast<int>(info.ssi_signo));
    }
}

bool Watch::wait(int descriptor, Clock::time_point end) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    const int timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    std::array<pollfd, 2> polled = {{{signals_.get(), POLLIN, 0}, {descriptor, POLLIN, 0}}};
    const int count = poll(polled.data(), polled.size(), timeout);
    if (count < 0 && errno != EINTR) {
        throw failureFromErrno("cannot wait");
    }
    if (count > 0 && polled[0].revents != 0) {
        readSignal();
        return false;
    }
    return count > 0;
}

} // namespace keldo::adapter
