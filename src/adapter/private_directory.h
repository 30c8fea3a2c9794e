// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <string>
#include <string_view>

namespace keldo::adapter {

/// A fresh directory, mode 0700, for all files of one call; removed with what is in it at the end.
///
/// While the object lives it holds a lock on the directory. A directory of this kind that nobody
/// has locked belongs to a call that was killed, or to one that has made it just now and is about
/// to lock it; the latter notices that it was swept away and makes another one.
class PrivateDirectory {
public:
    /// Made in /run or, where that takes none, in /tmp; throws Failure where neither does.
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    /// Its name in /run or /tmp.
    std::string name() const { return path_.substr(path_.rfind('/') + 1); }
    /// The path that a file of this name has in it.
    std::string file(std::string_view fileName) const {
        return path_ + "/" + std::string(fileName);
    }
    /// Its own path, from the root.
    const std::string& path() const { return path_; }

    /// Removes the directories that calls of the same user left behind when they were killed,
    /// as far as they are beside this one and can be removed.
    void sweepOthers() const;

private:
    bool makeIn(const std::string& base);

    std::string path_;
    UniqueFd lock_;
};

} // namespace keldo::adapter
