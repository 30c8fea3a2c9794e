// SPDX-License-Identifier: MIT

#include "exec/unique_fd.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <type_traits>
#include <utility>

using keldo::UniqueFd;

namespace {

int openFile() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

} // namespace

TEST(UniqueFd, ClosesItsDescriptorAtItsEnd) {
    const int fd = openFile();
    {
        const UniqueFd owner(fd);
        EXPECT_EQ(owner.get(), fd);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(UniqueFd, OwnsNothingByDefaultAndClosesNothingThen) {
    errno = 0;
    {
        UniqueFd none;
        EXPECT_EQ(none.get(), -1);
        none.reset();
    }
    EXPECT_EQ(errno, 0);
}

TEST(UniqueFd, IsTrueWhileItOwnsADescriptor) {
    UniqueFd owner(openFile());
    EXPECT_TRUE(owner);
    owner.reset();
    EXPECT_FALSE(owner);
}

TEST(UniqueFd, GivesItsDescriptorAwayWhenMoved) {
    const int fd = openFile();
    UniqueFd first(fd);
    {
        const UniqueFd second(std::move(first));
        EXPECT_EQ(second.get(), fd);
        EXPECT_EQ(first.get(), -1); // NOLINT(bugprone-use-after-move)
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(UniqueFd, ClosesTheOldDescriptorWhenAssigned) {
    const int oldFd = openFile();
    const int newFd = openFile();
    UniqueFd owner(oldFd);
    UniqueFd other(newFd);
    owner = std::move(other);
    EXPECT_FALSE(isOpen(oldFd));
    EXPECT_TRUE(isOpen(newFd));
    EXPECT_EQ(owner.get(), newFd);
    EXPECT_EQ(other.get(), -1); // NOLINT(bugprone-use-after-move)
}

TEST(UniqueFd, SurvivesAnAssignmentToItself) {
    UniqueFd owner(openFile());
    UniqueFd& same = owner;
    owner = std::move(same);
    EXPECT_TRUE(isOpen(owner.get()));
}

TEST(UniqueFd, ClosesAtOnceWhenReset) {
    const int fd = openFile();
    UniqueFd owner(fd);
    owner.reset();
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(owner.get(), -1);
}

TEST(UniqueFd, OwnsAnotherDescriptorWhenResetToIt) {
    const int oldFd = openFile();
    const int newFd = openFile();
    UniqueFd owner(oldFd);
    owner.reset(newFd);
    EXPECT_FALSE(isOpen(oldFd));
    EXPECT_EQ(owner.get(), newFd);
}

TEST(UniqueFd, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<UniqueFd>);
    EXPECT_FALSE(std::is_copy_assignable_v<UniqueFd>);
}
