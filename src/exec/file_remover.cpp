// SPDX-License-Identifier: MIT

#include "exec/file_remover.h"

#include "exec/ending_signals.h"
#include "exec/private_directory.h"

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace keldo {

static_assert(std::atomic<const FileRemover*>::is_always_lock_free, "a signal handler reads it");

/// SA_RESETHAND has restored the default action, so raising the signal again ends the process.
void FileRemover::removeFileAndEnd(int signal) {
    if (const FileRemover* const remover = inUse) {
        remover->remove();
    }
    raise(signal);
}

/// Installs the handler once: per file it would be most of a check's system calls.
void FileRemover::handleEndingSignals() noexcept {
    if (signalsAreHandled) {
        return;
    }
    signalsAreHandled = true;
    const sigset_t signals = endingSignals();
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        struct sigaction action;
        if (sigismember(&signals, signal) == 1 && sigaction(signal, nullptr, &action) == 0 &&
            action.sa_handler == SIG_DFL) { // an ignored signal does not end the process
            action.sa_handler = removeFileAndEnd;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigaction(signal, &action, nullptr);
        }
    }
}

FileRemover::FileRemover(const std::string& path) noexcept : path_(path.c_str()) {
    inUse = this;
    handleEndingSignals();
}

FileRemover::~FileRemover() {
    if (!released_) {
        remove();
    }
    inUse = nullptr;
}

/// A signal handler calls it too.
void FileRemover::remove() const noexcept {
    if (unlink(path_) == -1 && errno == EISDIR) {
        removeDirectory(path_);
    }
}

} // namespace keldo
