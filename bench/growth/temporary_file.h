// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo::bench {

/// A new file in the folder for temporary files, with that content; removed when this goes. Ends
/// the program where the file cannot be made: there is nothing to measure then.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace keldo::bench
