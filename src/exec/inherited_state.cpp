// SPDX-License-Identifier: MIT

#include "exec/inherited_state.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace keldo {

namespace {

/// Otherwise the next file or pipe would get the number, and be taken for the stream.
void openClosedStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            open64("/dev/null", O_RDWR); // takes the lowest number that is free: this one
        }
    }
}

void resetSignals() {
    std::signal(SIGCHLD, SIG_DFL); // ignored, it would leave no child to wait for
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// The shell complains of a directory that is gone, in the midst of the commands' output.
void leaveRemovedDirectory() {
    char* const directory = getcwd(nullptr, 0);
    if (directory == nullptr && errno == ENOENT) {
        [[maybe_unused]] const int result = chdir("/");
    }
    std::free(directory);
}

} // namespace

void makeInheritedStateSane() {
    openClosedStreams();
    resetSignals();
    leaveRemovedDirectory();
}

} // namespace keldo
