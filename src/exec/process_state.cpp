// SPDX-License-Identifier: MIT

#include "exec/process_state.h"

#include "exec/directory.h"
#include "exec/file_remover.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <libgen.h>
#include <unistd.h>

namespace keldo {

// The process-wide state of this folder. All of it lives until exit.

/// Set once, by takeArguments().
std::string programName;

/// The remover that exists, or null: set by its constructor, reset by its destructor, read by the
/// signal handler.
std::atomic<const FileRemover*> FileRemover::inUse = nullptr;

/// Whether the handler of the ending signals is installed: set by the first remover.
bool FileRemover::signalsAreHandled = false;

namespace {

/// Opens the null device on closed standard streams. Otherwise a file or pipe that is opened later
/// would get the number of a stream, and output for the stream would go into it.
void openClosedStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            open64("/dev/null", O_RDWR); // takes the lowest free number, which is `stream`
        }
    }
}

/// Sets FD_CLOEXEC for each descriptor above 2 that /proc lists.
void closeListedDescriptorsOnExec() {
    const Directory directory(opendir("/proc/self/fd"));
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        int descriptor = 0; // "." and ".." leave it 0
        std::from_chars(entry->d_name, entry->d_name + std::strlen(entry->d_name), descriptor);
        if (descriptor > STDERR_FILENO) {
            fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
}

void resetSignals() {
    std::signal(SIGCHLD, SIG_DFL); // if it is ignored, waitpid() finds no child
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// In a removed directory the shell would print a complaint into each command's output.
void leaveRemovedDirectory() {
    char* const directory = getcwd(nullptr, 0);
    if (directory == nullptr && errno == ENOENT) {
        [[maybe_unused]] const int result = chdir("/");
    }
    std::free(directory);
}

} // namespace

std::vector<std::string> takeArguments(int argc, char* argv[]) {
    std::string path = argc > 0 ? argv[0] : "";
    programName = basename(path.data()); // may write to its argument
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void closeOtherDescriptorsOnExec() {
    // Kernels before 5.11 lack the call or its flag, and a container's filter may forbid it.
    if (close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == -1) {
        closeListedDescriptorsOnExec();
    }
}

void makeInheritedStateSane() {
    openClosedStreams();
    closeOtherDescriptorsOnExec();
    resetSignals();
    leaveRemovedDirectory();
}

} // namespace keldo
