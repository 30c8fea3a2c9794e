// SPDX-License-Identifier: MIT

#include "exec/private_directory.h"

#include "exec/directory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace keldo {

namespace {

constexpr std::string_view randomPart = "XXXXXX"; // what mkdtemp(3) replaces

const char* nameOf(const char* path) noexcept {
    const char* const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

UniqueFd openDirectory(int base, const char* path) noexcept {
    int directory = -1;
    do { // a signal may interrupt the opening on a network file system
        directory = openat(base, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    } while (directory == -1 && errno == EINTR);
    return UniqueFd(directory);
}

/// Sets the lock of an open directory; waits for it unless `operation` contains LOCK_NB.
bool lock(int directory, int operation) noexcept {
    int result = -1;
    do {
        result = flock(directory, operation);
    } while (result == -1 && errno == EINTR);
    return result == 0;
}

/// Opens and locks a directory. Returns no descriptor if a call fails, or if a sweep has removed
/// the directory before it was locked.
UniqueFd lockDirectory(const char* path, int operation) noexcept {
    UniqueFd directory = openDirectory(AT_FDCWD, path);
    struct stat opened {};
    struct stat named {};
    if (!directory || !lock(directory.get(), operation) || fstat(directory.get(), &opened) != 0 ||
        lstat(path, &named) != 0 || opened.st_dev != named.st_dev ||
        opened.st_ino != named.st_ino) {
        return UniqueFd();
    }
    return directory;
}

bool makeMark(int directory, const char* name) noexcept {
    return UniqueFd(openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)).get() !=
           -1;
}

bool isMarked(int directory, const char* name) noexcept {
    struct stat mark {};
    return fstatat(directory, name, &mark, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(mark.st_mode) &&
           mark.st_uid == geteuid() && mark.st_size == 0;
}

bool isPrivate(int directory) noexcept {
    struct stat status {};
    return fstat(directory, &status) == 0 && status.st_uid == geteuid() &&
           (status.st_mode & ALLPERMS) == S_IRWXU;
}

/// Removes everything in a directory except the entry `kept`. Returns whether it removed anything.
// NOLINTNEXTLINE(misc-no-recursion): a loop would have to remember the way back, which takes memory
bool removeContents(int directory, const char* kept) noexcept {
    bool removed = false;
    // readdir(3) would allocate.
    alignas(dirent64) std::array<char, 2048> buffer;
    ssize_t length = 0;
    while ((length = getdents64(directory, buffer.data(), buffer.size())) > 0) {
        for (ssize_t at = 0; at < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
            const char* const name = entry->d_name;
            at += entry->d_reclen;
            if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
                std::strcmp(name, kept) == 0) {
                continue;
            }
            int result = unlinkat(directory, name, 0);
            if (result != 0 && errno == EISDIR) {
                removeContents(openDirectory(directory, name).get(), "");
                result = unlinkat(directory, name, AT_REMOVEDIR);
            }
            removed = removed || result == 0;
        }
    }
    return removed;
}

void removeIfAbandoned(const char* path) noexcept {
    const UniqueFd directory = lockDirectory(path, LOCK_EX | LOCK_NB);
    if (!directory || !isPrivate(directory.get())) {
        return;
    }
    if (isMarked(directory.get(), nameOf(path))) {
        removeDirectory(path);
    } else {
        rmdir(path); // still empty if its process was killed before makeMark()
    }
}

} // namespace

PrivateDirectory::PrivateDirectory(std::span<const char* const> bases, std::string_view prefix) {
    if (std::ranges::none_of(bases, [&](const char* base) { return makeIn(base, prefix); })) {
        throw std::system_error(errno, std::generic_category(), "cannot make a private directory");
    }
}

PrivateDirectory::~PrivateDirectory() {
    removeDirectory(path_.c_str());
}

/// Returns false with errno on failure, with no directory left.
bool PrivateDirectory::makeIn(std::string_view base, std::string_view prefix) {
    for (;;) {
        path_ = std::string(base) + "/" + std::string(prefix) + std::string(randomPart);
        if (mkdtemp(path_.data()) == nullptr) {
            return false;
        }
        lock_ = lockDirectory(path_.c_str(), LOCK_EX);
        if (lock_ && makeMark(lock_.get(), nameOf(path_.c_str()))) {
            return true;
        }
        const int reason = errno;
        // If another process has swept the directory before we locked it, try again. Any other
        // failure would repeat itself.
        if (rmdir(path_.c_str()) == 0 || errno != ENOENT) {
            errno = reason;
            return false;
        }
    }
}

void PrivateDirectory::sweepAbandoned() const {
    const std::string ownName = name();
    const std::string prefix = ownName.substr(0, ownName.size() - randomPart.size());
    const std::string base = path_.substr(0, path_.size() - ownName.size());
    // Not std::filesystem, which ends the process if it gets no memory.
    const Directory directory(opendir(base.c_str()));
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        const std::string found = entry->d_name;
        if (found.starts_with(prefix) && found.size() == ownName.size()) {
            removeIfAbandoned((base + found).c_str());
        }
    }
}

void removeDirectory(const char* path) noexcept {
    const char* const mark = nameOf(path);
    for (bool goOn = true; goOn;) {
        const UniqueFd directory = openDirectory(AT_FDCWD, path);
        const bool removed = removeContents(directory.get(), mark);
        unlinkat(directory.get(), mark, 0);
        // A program that still runs may have created a file meanwhile: start again.
        goOn = rmdir(path) != 0 && errno == ENOTEMPTY && removed;
    }
}

} // namespace keldo
