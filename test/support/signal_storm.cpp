// SPDX-License-Identifier: MIT

// Preloaded into keldoctl: interrupts it by a signal every millisecond, so that system calls fail
// with EINTR. At the end it writes the number of signals to the file SIGNAL_STORM_COUNT. The
// programs that keldoctl runs do not load it: they can be of another processor.

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sys/time.h>

namespace {

volatile std::sig_atomic_t count = 0;

extern "C" void countSignal(int) {
    count = count + 1;
}

void setTimer(suseconds_t microseconds) {
    const itimerval timer = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

[[gnu::constructor]] void startStorm() {
    unsetenv("LD_PRELOAD");
    struct sigaction action = {};
    action.sa_handler = countSignal; // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    constexpr suseconds_t interval = 1000;
    setTimer(interval);
}

[[gnu::destructor]] void endStorm() {
    const char* const path = std::getenv("SIGNAL_STORM_COUNT");
    if (path == nullptr) {
        return;
    }
    setTimer(0);
    std::ofstream(path) << count << '\n';
}

} // namespace
