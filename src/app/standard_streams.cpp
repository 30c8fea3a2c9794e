#include "app/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace keldo {

namespace {

/// The descriptors that hold the real streams; while a stream is not silenced, that is its own.
int savedStderr = STDERR_FILENO;
int savedStdout = STDOUT_FILENO;

void redirect(int stream, int& saved) {
    if (saved != stream) {
        return;
    }
    saved = dup(stream);
    fcntl(saved, F_SETFD, FD_CLOEXEC);
    const int null = open64("/dev/null", O_WRONLY);
    if (null != stream) {
        dup2(null, stream);
        close(null);
    }
}

void restore(int stream, int& saved) {
    if (saved == stream) {
        return;
    }
    dup2(saved, stream);
    close(saved);
    saved = stream;
}

} // namespace

void openClosedStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            open64("/dev/null", O_RDWR); // takes the lowest number that is free: this one
        }
    }
}

void redirectStdout() {
    redirect(STDOUT_FILENO, savedStdout);
}

void redirectStderr() {
    redirect(STDERR_FILENO, savedStderr);
}

void restoreStdout() {
    restore(STDOUT_FILENO, savedStdout);
}

void restoreStderr() {
    restore(STDERR_FILENO, savedStderr);
}

} // namespace keldo
