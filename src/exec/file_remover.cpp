// SPDX-License-Identifier: MIT

#include "exec/file_remover.h"

#include "exec/ending_signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace keldo {

namespace {

/// What a signal has to remove its files, or null. Of a type that a handler may read.
std::atomic<const FileRemover*> inUse = nullptr;
static_assert(std::atomic<const FileRemover*>::is_always_lock_free);

/// Whether the ending signals have their handler. They get it once: for each file anew, that would
/// be most of the system calls that a service takes.
bool signalsAreHandled = false;

/// Of the default action, which is in place again, the process dies as the sender wishes.
extern "C" void removeFilesAndEnd(int signal) {
    if (const FileRemover* const remover = inUse) {
        remover->remove();
    }
    raise(signal);
}

void handleEndingSignals() {
    if (signalsAreHandled) {
        return;
    }
    signalsAreHandled = true;
    for (const int signal : endingSignals) {
        struct sigaction action;
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL) { // else it does not end the process
            action.sa_handler = removeFilesAndEnd;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigaction(signal, &action, nullptr);
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
            rmdir(path.c_str());
        }
    }
}

} // namespace keldo
