// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <string>

namespace keldo::test {

/// A new empty directory; the destructor removes it with its contents.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }

    /// Writes a file and makes the directories above it. Returns its path.
    std::string write(const std::string& name, const std::string& content) const;

    /// Does what write() does, and makes the file executable.
    std::string writeScript(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path path_;
};

/// The content of a file; throws std::runtime_error if it cannot be read.
std::string contentOf(const std::filesystem::path& path);

} // namespace keldo::test
