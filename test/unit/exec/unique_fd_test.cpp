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

TEST(UniqueFd, ClosesItsDescriptorOnDestruction) {
    const int fd = openFile();
    {
        const UniqueFd owner(fd);
        EXPECT_TRUE(owner);
        EXPECT_EQ(owner.get(), fd);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(UniqueFd, OwnsNothingByDefaultAndThenClosesNothing) {
    errno = 0;
    {
        UniqueFd none;
        EXPECT_FALSE(none);
        EXPECT_EQ(none.get(), -1);
        none.reset();
    }
    EXPECT_EQ(errno, 0);
}

TEST(UniqueFd, GivesItsDescriptorAwayIfMoved) {
    const int fd = openFile();
    UniqueFd first(fd);
    {
        const UniqueFd second(std::move(first));
        EXPECT_EQ(second.get(), fd);
        EXPECT_EQ(first.get(), -1); // NOLINT(bugprone-use-after-move)
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(UniqueFd, ClosesTheOldDescriptorOnAssignmentAndReset) {
    const int fds[] = {openFile(), openFile(), openFile()};
    UniqueFd owner(fds[0]);
    UniqueFd other(fds[1]);
    owner = std::move(other);
    EXPECT_FALSE(isOpen(fds[0]));
    EXPECT_EQ(owner.get(), fds[1]);
    EXPECT_EQ(other.get(), -1); // NOLINT(bugprone-use-after-move)
    owner.reset(fds[2]);
    EXPECT_FALSE(isOpen(fds[1]));
    EXPECT_EQ(owner.get(), fds[2]);
    owner.reset();
    EXPECT_FALSE(isOpen(fds[2]));
    EXPECT_FALSE(owner);
}

TEST(UniqueFd, KeepsItsDescriptorIfAssignedToItself) {
    UniqueFd owner(openFile());
    UniqueFd& same = owner;
    owner = std::move(same);
    EXPECT_TRUE(isOpen(owner.get()));
}

static_assert(!std::is_copy_constructible_v<UniqueFd> && !std::is_copy_assignable_v<UniqueFd>);
