// SPDX-License-Identifier: MIT

/* To be preloaded into keldoctl (LD_PRELOAD): interrupts it every millisecond with a signal that it
 * does not know of, from its first instruction to its last, so that each system call that may fail
 * with EINTR does. At the end it writes the number of signals to the file that the environment
 * names in SIGNAL_STORM_COUNT. Other programs, to which the variables are handed down, are left in
 * peace. */

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/time.h>

namespace {

volatile std::sig_atomic_t count = 0;
bool storming = false;

extern "C" void countSignal(int) {
    count = count + 1;
}

void setTimer(suseconds_t microseconds) {
    const itimerval timer = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

[[gnu::constructor]] void startStorm() {
    storming = std::strcmp(program_invocation_short_name, "keldoctl") == 0;
    if (!storming) {
        return;
    }
    struct sigaction action = {};
    action.sa_handler = countSignal; // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    constexpr suseconds_t interval = 1000;
    setTimer(interval);
}

[[gnu::destructor]] void endStorm() {
    const char* const path = std::getenv("SIGNAL_STORM_COUNT");
    if (!storming || path == nullptr) {
        return;
    }
    setTimer(0);
    std::ofstream(path) << count << '\n';
}

} // namespace
