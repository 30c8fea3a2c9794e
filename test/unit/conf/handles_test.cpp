// SPDX-License-Identifier: MIT

#include "conf/handles.h"

#include "forced_failures.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

using keldo::test::setErrnoInFree;

namespace {

/// A stream that changes errno and sets `ended` when it is closed.
FILE* streamThatSetsErrno(bool* ended) {
    cookie_io_functions_t functions = {};
    functions.close = [](void* cookie) {
        *static_cast<bool*>(cookie) = true;
        errno = EIO;
        return -1;
    };
    return fopencookie(ended, "r", functions);
}

} // namespace

TEST(FileHandle, ClosesItsFileAndLeavesErrnoAsItWas) {
    bool ended = false;
    errno = ENOENT;
    { const file_handle file(streamThatSetsErrno(&ended)); }
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(ended);
}

TEST(HeapText, LeavesErrnoAsItWas) {
    setErrnoInFree(EIO);
    errno = ENOENT;
    { const heap_text text(strdup("text")); }
    const int error = errno;
    setErrnoInFree(0);
    EXPECT_EQ(ENOENT, error);
}
