// SPDX-License-Identifier: MIT

#include "monitor/file_remover.h"

#include "monitor/ending_signals.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace keldo {

namespace {

/// What a signal is to remove, or null. Of a type that a handler may read.
std::atomic<const char*> fileInUse = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free);

/// Whether the ending signals have their handler. They get it once: for each file anew, that would
/// be most of the system calls that a service takes.
bool signalsAreHandled = false;

/// Of the default action, which is in place again, the process dies as the sender wishes.
extern "C" void removeFileAndEnd(int signal) {
    if (const char* const file = fileInUse) {
        unlink(file);
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
            action.sa_handler = removeFileAndEnd;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace

FileRemover::FileRemover(const std::string& path) noexcept : path_(&path) {
    fileInUse = path.c_str();
    handleEndingSignals();
}

FileRemover::~FileRemover() {
    if (path_ != nullptr) {
        unlink(path_->c_str());
    }
    fileInUse = nullptr;
}

} // namespace keldo
