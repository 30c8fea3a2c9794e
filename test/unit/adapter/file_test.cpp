// SPDX-License-Identifier: MIT

#include "adapter/file.h"

#include "failure_of.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int interruptions = 0; ///< of read() and write()

bool isInterrupted() {
    errno = EINTR;
    return interruptions > 0 && interruptions-- > 0;
}

} // namespace

extern "C" {
ssize_t __real_read(int file, void* buffer, size_t length);
ssize_t __wrap_read(int file, void* buffer, size_t length);
ssize_t __real_write(int file, const void* bytes, size_t length);
ssize_t __wrap_write(int file, const void* bytes, size_t length);
}

ssize_t __wrap_read(int file, void* buffer, size_t length) {
    return isInterrupted() ? -1 : __real_read(file, buffer, length);
}

ssize_t __wrap_write(int file, const void* bytes, size_t length) {
    return isInterrupted() ? -1 : __real_write(file, bytes, length);
}

namespace keldo::adapter {
namespace {

using test::failureOf;

class FileTest : public testing::Test {
protected:
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() / "file";
};

TEST_F(FileTest, IsWrittenAndReadWhole) {
    const std::string text = std::string(40000, 'x') + '\0' + "end";
    for (const int count : {0, 3}) {
        SCOPED_TRACE(count);
        interruptions = count;
        createFile(path, text);
        interruptions = count;
        EXPECT_EQ(readFile(path), text);
        unlink(path.c_str());
    }
}

TEST_F(FileTest, IsCreatedForItsOwnerAndOpenForAppending) {
    const UniqueFd file = createFile(path, "a");
    writeAll(file.get(), "b", "it");
    EXPECT_EQ(readFile(path), "ab");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & ALLPERMS, mode_t{0600});
}

TEST_F(FileTest, FailureGivesTheReason) {
    directory.write("file", "");
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(failureOf([&] { createFile(path, ""); }),
              "cannot make a file -- " + path + " -- File exists");
    EXPECT_EQ(failureOf([&] { writeAll(full.get(), "x", "the document"); }),
              "cannot write the document -- No space left on device");
    EXPECT_EQ(failureOf([&] { readFile(path + "s"); }),
              "cannot read a file -- " + path + "s -- No such file or directory");
    EXPECT_EQ(failureOf([] { readFile("/tmp"); }), "cannot read a file -- /tmp -- Is a directory");
}

} // namespace
} // namespace keldo::adapter
