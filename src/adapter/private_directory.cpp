// SPDX-License-Identifier: MIT

#include "adapter/private_directory.h"

#include "adapter/failure.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace keldo::adapter {

namespace {

// Where private directories are made, the first that takes one. Short, since a unix socket's path
// has to fit into 108 bytes.
constexpr std::array<const char*, 2> baseDirectories = {"/run", "/tmp"};
constexpr std::string_view directoryPrefix = "monit-check-status.";

/// Opens and locks the directory `path`, waiting for the lock unless `operation` has LOCK_NB.
/// Gives no descriptor when it is no directory of our own, when its lock is held, or when another
/// process removed it before the lock was ours.
UniqueFd lockDirectory(const std::string& path, int operation) {
    UniqueFd directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat opened {};
    struct stat named {};
    if (!directory || fstat(directory.get(), &opened) != 0 || opened.st_uid != geteuid() ||
        flock(directory.get(), operation) != 0 || lstat(path.c_str(), &named) != 0 ||
        opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
        return UniqueFd();
    }
    return directory;
}

void removeTree(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace

PrivateDirectory::PrivateDirectory() {
    if (std::none_of(baseDirectories.begin(), baseDirectories.end(),
                     [this](const char* base) { return makeIn(base); })) {
        throw failureFromErrno("cannot make a private directory");
    }
}

PrivateDirectory::~PrivateDirectory() {
    removeTree(path_);
}

bool PrivateDirectory::makeIn(const std::string& base) {
    do {
        path_ = base + "/" + std::string(directoryPrefix) + "XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) {
            return false;
        }
        lock_ = lockDirectory(path_, LOCK_EX);
        // Still there although not lockable: not the work of a sweep, so a second try is no use.
        if (!lock_ && rmdir(path_.c_str()) == 0) {
            return false;
        }
    } while (!lock_);
    return true;
}

void PrivateDirectory::sweepOthers() const {
    std::error_code error;
    std::filesystem::directory_iterator entry(std::filesystem::path(path_).parent_path(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string other = entry->path();
        if (entry->path().filename().native().starts_with(directoryPrefix)) {
            if (const UniqueFd lock = lockDirectory(other, LOCK_EX | LOCK_NB)) {
                removeTree(other);
            }
        }
    }
}

} // namespace keldo::adapter
