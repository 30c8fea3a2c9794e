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

/// The descriptors that hold the real streams; while a stream is not silenced, that is its own.
int savedStderr = STDERR_FILENO;
int savedStdout = STDOUT_FILENO;

// GCOVR_EXCL_START runs within fork(), after which the child begins to count anew
/// Runs in each child. The one that waits for a command executes nothing itself, so that its copies
/// would stay open for as long as the command runs, and with them the pipe to the panel.
void closeSavedStreams() {
    for (const auto& [stream, saved] :
         {std::pair(STDOUT_FILENO, savedStdout), std::pair(STDERR_FILENO, savedStderr)}) {
        if (saved != stream) {
            close(saved);
        }
    }
}
// GCOVR_EXCL_STOP

/// Returns whether the stream is silent now.
bool redirect(int stream, int& saved) {
    if (saved != stream) {
        return true;
    }
    const int copy = dup(stream);
    if (copy == -1 && errno != EBADF) {
        return false; // silenced without a copy, it would be lost
    }
    saved = copy;
    // Where this fails, FD_CLOEXEC closes them in the shell.
    [[maybe_unused]] static const int failed = pthread_atfork(nullptr, nullptr, closeSavedStreams);
    fcntl(saved, F_SETFD, FD_CLOEXEC);
    const int null = open64("/dev/null", O_WRONLY);
    if (null == stream) {
        return true;
    }
    const bool silent = duplicate(null, stream);
    close(null);
    if (!silent) { // then there is nothing to put back, which might fail as well
        close(saved);
        saved = stream;
    }
    return silent;
}

/// Returns whether the stream is the real one now; errno where it is not.
bool restore(int stream, int& saved) {
    if (saved == stream) {
        return true;
    }
    const bool restored = saved == -1 || duplicate(saved, stream); // a closed one had no copy
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
