// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <csignal>

namespace keldo {

/// The signals by which a user, a terminal, the panel, an alarm that it has set or a limit ends a
/// run, and which can be handled.
inline constexpr std::array endingSignals = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM,
                                             SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU};

/// While it lives, or until release(), the ending signals are blocked: they come afterwards.
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
