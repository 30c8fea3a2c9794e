// SPDX-License-Identifier: MIT

#include "monitor/file_remover.h"

#include <atomic>
#include <cstddef>
#include <unistd.h>

namespace keldo {

namespace {

/// What a signal is to remove. Of a type that a handler may read.
std::atomic<const char*> fileInUse = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free);

/// Of the default action, which is in place again, the process dies as the sender wishes.
extern "C" void removeFileAndEnd(int signal) {
    unlink(fileInUse);
    raise(signal);
}

} // namespace

FileRemover::FileRemover(const std::string& path) noexcept : path_(&path) {
    fileInUse = path.c_str();
    struct sigaction removal = {};
    removal.sa_handler = removeFileAndEnd;
    removal.sa_flags = static_cast<int>(SA_RESETHAND);
    struct sigaction* previous = previousActions_.data();
    for (const int signal : endingSignals) {
        sigaction(signal, nullptr, previous);
        if (previous->sa_handler == SIG_DFL) {
            sigaction(signal, &removal, nullptr);
        }
        ++previous;
    }
}

FileRemover::~FileRemover() {
    if (path_ != nullptr) {
        unlink(path_->c_str());
    }
    struct sigaction* previous = previousActions_.data();
    for (const int signal : endingSignals) {
        sigaction(signal, previous, nullptr);
        ++previous;
    }
}

} // namespace keldo
