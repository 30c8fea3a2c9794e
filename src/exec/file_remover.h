// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <span>
#include <string>

namespace keldo {

/// Removes its file on destruction, or if an ending signal (exec/ending_signals.h) ends the process
/// first. A missing file is no error. Only one remover may exist at a time. The path is not copied
/// and must outlive the remover.
///
/// The first remover installs a handler, which stays, for each ending signal whose action is the
/// default. The process still dies by the signal.
class FileRemover {
public:
    explicit FileRemover(const std::string& path) noexcept : FileRemover(std::span(&path, 1)) {}
    explicit FileRemover(std::string&&) = delete;
    /// Removes several files, in this order. A path may name a directory, which is removed with
    /// everything in it.
    explicit FileRemover(std::span<const std::string> paths) noexcept;
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;
    ~FileRemover();

    /// Removes the files now. Async-signal-safe.
    void remove() const noexcept;

    /// Makes the destructor keep the files. Until destruction, an ending signal still removes them,
    /// so the next owner of the files must exist before this one is destroyed.
    void release() noexcept { released_ = true; }

private:
    static void handleEndingSignals() noexcept;
    static void removeFilesAndEnd(int signal);

    static std::atomic<const FileRemover*> inUse; ///< see exec/process_state.cpp
    static bool signalsAreHandled;                ///< see exec/process_state.cpp

    std::span<const std::string> paths_;
    bool released_ = false;
};

} // namespace keldo
