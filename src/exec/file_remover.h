// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <string>

namespace keldo {

/// Removes its file on destruction, or if an ending signal (exec/ending_signals.h) ends the process
/// first. A missing file is no error. If the path names a directory, everything in it is removed
/// too. Only one remover may exist at a time. The path is not copied and must outlive the remover.
///
/// The first remover installs a handler, which stays, for each ending signal whose action is the
/// default. The process still dies by the signal.
class FileRemover {
public:
    explicit FileRemover(const std::string& path) noexcept;
    explicit FileRemover(std::string&&) = delete;
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;
    ~FileRemover();

    /// Makes the destructor keep the file. Until destruction, an ending signal still removes it,
    /// so the next owner of the file must exist before this one is destroyed.
    void release() noexcept { released_ = true; }

private:
    static void handleEndingSignals() noexcept;
    static void removeFileAndEnd(int signal);
    void remove() const noexcept;

    static std::atomic<const FileRemover*> inUse; ///< see exec/process_state.cpp
    static bool signalsAreHandled;                ///< see exec/process_state.cpp

    const char* path_;
    bool released_ = false;
};

} // namespace keldo
