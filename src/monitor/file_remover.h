#pragma once

#include <string>
#include <unistd.h>

namespace keldo {

/// Removes a file when it goes, if the file is there then. The path is not copied and outlives
/// this.
class FileRemover {
public:
    explicit FileRemover(const std::string& path) noexcept : path_(&path) {}
    explicit FileRemover(std::string&&) = delete;
    FileRemover(const FileRemover&) = delete;
    FileRemover& operator=(const FileRemover&) = delete;
    ~FileRemover() {
        if (path_ != nullptr) {
            unlink(path_->c_str());
        }
    }

    /// Leaves the file to somebody else.
    void release() noexcept { path_ = nullptr; }

private:
    const std::string* path_;
};

} // namespace keldo
