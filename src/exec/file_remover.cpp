// SPDX-License-Identifier: MIT

#include "exec/file_remover.h"

#include "exec/ending_signals.h"
#include "exec/private_directory.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace keldo {

namespace {

/// The remover that exists, or null: set by its constructor, reset by its destructor, read by the
/// signal handler. Lives until exit.
std::atomic<const FileRemover*> inUse = nullptr;
static_assert(std::atomic<const FileRemover*>::is_always_lock_free);

/// True from the first remover until exit: the signal handler is installed once, since doing it for
/// each file would be most of the system calls that a service takes.
bool signalsAreHandled = false;

/// SA_RESETHAND has restored the default action, so raising the signal again ends the process.
extern "C" void removeFilesAndEnd(int signal) {
    if (const FileRemover* const remover = inUse) {
        remover->remove();
    }
    raise(signal);
}

void handle(int signal) {
    struct sigaction action;
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_DFL) { // an ignored signal does not end the process
        action.sa_handler = removeFilesAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

void handleEndingSignals() {
    if (signalsAreHandled) {
        return;
    }
    signalsAreHandled = true;
    const sigset_t signals = endingSignals();
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (sigismember(&signals, signal) == 1) {
            handle(signal);
        }
    }
}

} // namespace

FileRemover::FileRemover(std::span<const std::string> paths) noexcept : paths_(paths) {
    inUse = this;
    handleEndingSignals();
}

FileRemover::~FileRemover() {
    if (!released_) {
        remove();
    }
    inUse = nullptr;
}

void FileRemover::remove() const noexcept {
    for (const std::string& path : paths_) {
        if (unlink(path.c_str()) == -1 && errno == EISDIR) {
            removeDirectory(path.c_str());
        }
    }
}

} // namespace keldo
