// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <span>
#include <string>
#include <string_view>

namespace keldo {

/// A fresh directory of mode 0700, removed on destruction with everything in it.
///
/// While the object lives, it holds a flock(2) on the directory. The directory contains the mark,
/// an empty file with the directory's own name. sweepAbandoned() recognises the directories of
/// killed processes by both: they have a mark, and nobody holds their lock.
///
/// A signal that ends the process runs no destructor. Either block the ending signals while the
/// object lives, or hand path() to a FileRemover (exec/file_remover.h) before they can arrive.
class PrivateDirectory {
public:
    /// Creates BASE/PREFIXxxxxxx (six random characters) in the first of `bases` where that
    /// succeeds. If all fail, throws std::system_error with the errno of the last base.
    PrivateDirectory(std::span<const char* const> bases, std::string_view prefix);
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory();

    /// The path of the directory; absolute if its base is absolute.
    const std::string& path() const { return path_; }
    /// The last component of the path.
    std::string name() const { return path_.substr(path_.rfind('/') + 1); }
    /// The path of a file in the directory.
    std::string file(std::string_view fileName) const {
        return path_ + "/" + std::string(fileName);
    }

    /// Removes the directories of the same prefix and base that killed processes of this user left
    /// behind. Keeps any other directory: of another owner or mode, locked, or neither marked nor
    /// empty. Reports no error.
    void sweepAbandoned() const;

private:
    bool makeIn(std::string_view base, std::string_view prefix);

    std::string path_;
    UniqueFd lock_;
};

/// Removes a directory with everything in it. Removes the mark last, so that sweepAbandoned()
/// recognises a directory whose removal was interrupted. Follows no link; does nothing if `path` is
/// not a directory. Reports no error. Allocates nothing, so a signal handler may call it.
void removeDirectory(const char* path) noexcept;

} // namespace keldo
