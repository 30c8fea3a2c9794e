#pragma once

#include <array>
#include <csignal>

namespace keldo {

/// The signals by which a user, a terminal, the panel or a limit ends a run, and which can be
/// handled.
inline constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU};

/// While it lives, or until release(), the ending signals wait.
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
