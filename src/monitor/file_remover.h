// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// Removes a file when it goes, if the file is there then, and also when an ending signal
/// (monitor/ending_signals.h) ends the process before. The path is not copied and outlives this.
/// One at a time. The first one gives each ending signal whose action is the default a handler,
/// which stays; the process still ends by the signal.
class FileRemover {
public:
    explicit FileRemover(const std::string& path) noexcept;
    explicit FileRemover(std::string&&) = delete;
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;
    ~FileRemover();

    /// Leaves the file to somebody else, who comes before this goes: until then a signal removes
    /// it.
    void release() noexcept { path_ = nullptr; }

private:
    const std::string* path_;
};

} // namespace keldo
