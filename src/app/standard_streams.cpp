// SPDX-License-Identifier: MIT

#include "app/standard_streams.h"

#include "conf/messages.h"
#include "exec/unique_fd.h"

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace keldo {

namespace {

// The process-wide state of this folder: set by the functions of this file, lives until exit.

/// The descriptors that hold the real streams; the stream's own number if it is not silenced.
int savedStderr = STDERR_FILENO;
int savedStdout = STDOUT_FILENO;

/// Whether closeSavedStreams() is registered: set by the first redirection.
bool childrenCloseSavedStreams = false;

// GCOVR_EXCL_START runs within fork(), after which the child's counters start again from zero
/// Runs in each child. The child that waits for the shell never execs, so FD_CLOEXEC would leave
/// its copies, and the panel's pipe, open.
void closeSavedStreams() {
    for (const auto& [stream, saved] :
         {std::pair(STDOUT_FILENO, savedStdout), std::pair(STDERR_FILENO, savedStderr)}) {
        if (saved != stream) {
            close(saved);
        }
    }
}
// GCOVR_EXCL_STOP

/// Registers closeSavedStreams() once. If this fails, FD_CLOEXEC still closes the copies when the
/// shell is executed.
void letChildrenCloseSavedStreams() {
    if (!childrenCloseSavedStreams) {
        childrenCloseSavedStreams = pthread_atfork(nullptr, nullptr, closeSavedStreams) == 0;
    }
}

/// Silences a stream and keeps a copy of it. Returns whether the stream is silent.
bool redirect(int stream, int& saved) {
    if (saved != stream) {
        return true;
    }
    const int copy = dup(stream);
    if (copy == -1 && errno != EBADF) {
        return false; // silencing the stream without a copy would lose it
    }
    saved = copy;
    letChildrenCloseSavedStreams();
    fcntl(saved, F_SETFD, FD_CLOEXEC);
    const int null = open64("/dev/null", O_WRONLY);
    if (null == stream) {
        return true;
    }
    const bool silent = duplicate(null, stream);
    close(null);
    if (!silent) { // not silenced: drop the copy, so that restore() does nothing
        close(saved);
        saved = stream;
    }
    return silent;
}

/// Undoes redirect(). Returns false with errno on failure.
bool restore(int stream, int& saved) {
    if (saved == stream) {
        return true;
    }
    const bool restored = saved == -1 || duplicate(saved, stream); // -1: it was closed
    const int error = errno;
    close(saved);
    errno = error;
    saved = stream;
    return restored;
}

} // namespace

void redirectStdout() {
    if (!redirect(STDOUT_FILENO, savedStdout)) {
        messages_on_stdout = 0;
    }
}

void redirectStderr() {
    redirect(STDERR_FILENO, savedStderr);
}

void restoreStdout() {
    messages_on_stdout = 1;
    if (!restore(STDOUT_FILENO, savedStdout)) {
        throw std::system_error(errno, std::generic_category(), "standard output is lost");
    }
}

void restoreStderr() {
    restore(STDERR_FILENO, savedStderr);
}

} // namespace keldo
