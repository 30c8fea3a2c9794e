// SPDX-License-Identifier: MIT

#pragma once

#include <dirent.h>
#include <memory>

namespace keldo {

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};

/// A directory from opendir(), or null.
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

} // namespace keldo
