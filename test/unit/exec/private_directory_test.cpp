// SPDX-License-Identifier: MIT

#include "exec/private_directory.h"

#include "support/temporary_directory.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

/// Called once, before the next flock() or rmdir().
std::function<void()> beforeFlock;
std::function<void()> beforeRmdir;
int flockError = 0; ///< makes flock() fail
uid_t userOffset = 0;
std::vector<std::string> unlinked;

void callOnce(std::function<void()>& function) {
    if (const std::function<void()> called = std::exchange(function, nullptr)) {
        called();
    }
}

} // namespace

extern "C" {
int __real_flock(int file, int operation);
int __wrap_flock(int file, int operation);
uid_t __real_geteuid();
uid_t __wrap_geteuid();
int __real_rmdir(const char* path);
int __wrap_rmdir(const char* path);
int __real_unlinkat(int directory, const char* path, int flags);
int __wrap_unlinkat(int directory, const char* path, int flags);
}

int __wrap_flock(int file, int operation) {
    callOnce(beforeFlock);
    if (flockError != 0) {
        errno = flockError;
        return -1;
    }
    return __real_flock(file, operation);
}

uid_t __wrap_geteuid() {
    return __real_geteuid() + userOffset;
}

int __wrap_rmdir(const char* path) {
    callOnce(beforeRmdir);
    return __real_rmdir(path);
}

int __wrap_unlinkat(int directory, const char* path, int flags) {
    unlinked.emplace_back(path);
    return __real_unlinkat(directory, path, flags);
}

namespace keldo {
namespace {

namespace fs = std::filesystem;

class PrivateDirectoryTest : public testing::Test {
protected:
    PrivateDirectoryTest() {
        flockError = 0;
        userOffset = 0;
        unlinked.clear();
    }
    static PrivateDirectory makeIn(const std::vector<const char*>& bases) {
        return PrivateDirectory(bases, "test.");
    }
    PrivateDirectory make() const { return makeIn({base.c_str()}); }
    size_t entries() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(base), fs::directory_iterator()));
    }
    /// A directory as a killed process leaves it, with one file in it.
    std::string leave(const std::string& name) const {
        std::string path = makeDirectory(name);
        temporary.write(name + "/" + name, "");
        temporary.write(name + "/monitrc", "text");
        return path;
    }
    std::string makeDirectory(const std::string& name) const {
        std::string path = base + "/" + name;
        mkdir(path.c_str(), S_IRWXU);
        return path;
    }

    const test::TemporaryDirectory temporary;
    const std::string base = temporary.path();
};

TEST_F(PrivateDirectoryTest, IsOpenToItsOwnerOnlyAndMarked) {
    const PrivateDirectory directory = make();
    struct stat status {};
    ASSERT_EQ(lstat(directory.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFDIR | S_IRWXU});
    EXPECT_EQ(directory.path(), base + "/" + directory.name());
    EXPECT_TRUE(directory.name().starts_with("test."));
    EXPECT_EQ(directory.name().size(), std::string_view("test.XXXXXX").size());
    EXPECT_EQ(directory.file("x"), directory.path() + "/x");
    EXPECT_TRUE(fs::is_empty(directory.file(directory.name())));
}

TEST_F(PrivateDirectoryTest, IsMadeInTheFirstBaseThatAcceptsIt) {
    const std::string missing = base + "/missing";
    const PrivateDirectory directory = makeIn({missing.c_str(), base.c_str()});
    EXPECT_EQ(fs::path(directory.path()).parent_path(), base);
}

TEST_F(PrivateDirectoryTest, ThrowsTheLastBasesReason) {
    const std::string missing = base + "/missing";
    const std::string file = temporary.write("file", "");
    try {
        makeIn({missing.c_str(), file.c_str()});
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOTDIR);
    }
}

TEST_F(PrivateDirectoryTest, ThrowsAndLeavesNothingIfItCannotBeLocked) {
    flockError = ENOLCK;
    try {
        make();
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOLCK);
    }
    EXPECT_EQ(entries(), 0U);
}

TEST_F(PrivateDirectoryTest, MakesAnotherIfItIsSweptBeforeItIsLocked) {
    beforeFlock = [this] { rmdir(fs::directory_iterator(base)->path().c_str()); };
    const PrivateDirectory directory = make();
    EXPECT_TRUE(fs::exists(directory.path()));
    EXPECT_EQ(entries(), 1U);
}

TEST_F(PrivateDirectoryTest, LocksAgainAfterAnInterruption) {
    flockError = EINTR;
    beforeFlock = [] { beforeFlock = [] { flockError = 0; }; };
    EXPECT_NO_THROW(make());
}

TEST_F(PrivateDirectoryTest, IsRemovedWithItsContents) {
    const std::string outside = temporary.write("outside/file", "text");
    {
        const PrivateDirectory directory = make();
        temporary.write(directory.name() + "/file", "text");
        temporary.write(directory.name() + "/folder/inner/file", "text");
        fs::permissions(directory.file("file"), fs::perms::none);
        fs::create_symlink(fs::path(outside).parent_path(), directory.file("link"));
        fs::create_symlink(outside, directory.file("folder/link"));
    }
    EXPECT_EQ(entries(), 1U);
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(PrivateDirectoryTest, IsRemovedEvenIfAProgramStillWritesToIt) {
    {
        const PrivateDirectory directory = make();
        temporary.write(directory.name() + "/file", "text");
        beforeRmdir = [&] { temporary.write(directory.name() + "/id", "text"); };
    }
    EXPECT_EQ(entries(), 0U);
}

TEST_F(PrivateDirectoryTest, RemovesTheMarkLast) {
    const std::string path = leave("test.aaaaaa");
    removeDirectory(path.c_str());
    EXPECT_EQ(unlinked, (std::vector<std::string>{"monitrc", "test.aaaaaa"}));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(PrivateDirectoryTest, RemovesDirectoriesOnly) {
    const std::string file = temporary.write("file", "text");
    const std::string link = base + "/link";
    fs::create_symlink(fs::path(leave("target")), link);
    for (const std::string& path : {file, link, base + "/missing"}) {
        removeDirectory(path.c_str());
    }
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_TRUE(fs::exists(base + "/target/monitrc"));
}

TEST_F(PrivateDirectoryTest, SweepRemovesWhatKilledProcessesLeft) {
    const PrivateDirectory directory = make();
    leave("test.marked");
    makeDirectory("test.empty1");
    directory.sweepAbandoned();
    EXPECT_EQ(entries(), 1U);
}

TEST_F(PrivateDirectoryTest, SweepKeepsWhatNoKilledProcessLeft) {
    const PrivateDirectory directory = make();
    std::vector<std::string> kept = {
        leave("other.aaaaaa"),
        leave("test.aaaaaaa"),
        leave("test.mode01"),
        leave("test.locked"),
        temporary.write("test.nomark/file", "text"),
        temporary.write("test.mkfull/test.mkfull", "text"),
        temporary.write("test.mktree/test.mktree/file", "text"),
        temporary.write("test.file01", ""),
        makeDirectory("test.mklink") + "/test.mklink",
        base + "/test.link01",
    };
    for (const char* const name : {"test.nomark", "test.mkfull", "test.mktree"}) {
        fs::permissions(base + "/" + name, fs::perms::owner_all);
    }
    fs::permissions(base + "/test.mode01", fs::perms::owner_all | fs::perms::group_exec);
    fs::create_symlink(base + "/test.file01", base + "/test.mklink/test.mklink");
    fs::create_symlink(base + "/other.aaaaaa", base + "/test.link01");
    const UniqueFd lock(open((base + "/test.locked").c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(__real_flock(lock.get(), LOCK_EX), 0);
    directory.sweepAbandoned();
    for (const std::string& path : kept) {
        EXPECT_TRUE(fs::exists(path)) << path;
    }
    EXPECT_TRUE(fs::exists(base + "/other.aaaaaa/monitrc"));
}

TEST_F(PrivateDirectoryTest, SweepKeepsAnotherUsersDirectory) {
    const PrivateDirectory directory = make();
    const std::string path = leave("test.aaaaaa");
    userOffset = 1;
    directory.sweepAbandoned();
    EXPECT_TRUE(fs::exists(path));
}

} // namespace
} // namespace keldo
