// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <string>

namespace keldo::test {

/// A new empty directory, removed with all that is in it when this goes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }

    /// Makes a file with that content, and the directories above it. Returns its path.
    std::string write(const std::string& name, const std::string& content) const;

    /// As write, with the file executable.
    std::string writeScript(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path path_;
};

/// The whole content of a file; fails the test where it cannot be read.
std::string contentOf(const std::filesystem::path& path);

} // namespace keldo::test
