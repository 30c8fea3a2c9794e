// SPDX-License-Identifier: MIT

#pragma once

#include <span>
#include <string>

namespace keldo {

/// Removes a file when it goes, if the file is there then, and also when an ending signal
/// (exec/ending_signals.h) ends the process before. The path is not copied and outlives this.
/// One at a time. The first one gives each ending signal whose action is the default a handler,
/// which stays; the process still ends by the signal.
class FileRemover {
public:
    explicit FileRemover(const std::string& path) noexcept : FileRemover(std::span(&path, 1)) {}
    explicit FileRemover(std::string&&) = delete;
    /// Of several files, in this order. A path may also be that of a directory, which goes if it is
    /// empty when its turn comes.
    explicit FileRemover(std::span<const std::string> paths) noexcept;
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;
    ~FileRemover();

    /// Removes them at once. May be called by a signal's handler.
    void remove() const noexcept;

    /// Leaves the file to somebody else, who comes before this goes: until then a signal removes
    /// it.
    void release() noexcept { released_ = true; }

private:
    std::span<const std::string> paths_;
    bool released_ = false;
};

} // namespace keldo
