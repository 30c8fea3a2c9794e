// SPDX-License-Identifier: MIT

#include "lint/monit_test.h"

#include "exec/program_name.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// Not so for all other tests of this program, whatever is installed on the machine.
bool monitIsInstalled = false;
bool directoriesCanBeMade = true;
bool pipesCanBeMade = true;
std::string lastDirectory;

} // namespace

extern "C" int __real_access(const char* path, int mode);
extern "C" int __wrap_access(const char* path, int mode) {
    return std::string_view(path) == "/usr/bin/monit" ? (monitIsInstalled ? 0 : -1)
                                                      : __real_access(path, mode);
}

extern "C" char* __real_mkdtemp(char* name);
extern "C" char* __wrap_mkdtemp(char* name) {
    if (!directoriesCanBeMade) {
        errno = ENOSPC;
        return nullptr;
    }
    char* const result = __real_mkdtemp(name);
    if (std::string_view(name).find("keldo-service-lint") != std::string_view::npos) {
        lastDirectory = name;
    }
    return result;
}

extern "C" int __real_pipe(int* ends);
extern "C" int __wrap_pipe(int* ends) {
    if (!pipesCanBeMade) {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe(ends);
}

namespace keldo::lint {
namespace {

using testing::IsEmpty;

TEST(MonitComplaints, AreNoneOfAnEmptyFile) {
    monitIsInstalled = true;
    EXPECT_THAT(monitComplaints(""), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST(MonitComplaints, AreNoneWhereNoMonitIsInstalled) {
    monitIsInstalled = false;
    EXPECT_THAT(monitComplaints("check nonsense\n"), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST(MonitComplaints, CannotBeHadWithoutAPlaceForTheFile) {
    monitIsInstalled = true;
    directoriesCanBeMade = false;
    try {
        monitComplaints("check process a\n");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::MatchesRegex("cannot make a directory -- "
                                                        "/tmp/keldo-service-lint.XXXXXX: No space "
                                                        "left on device"));
    }
}

TEST(MonitComplaints, CannotBeHadWithoutTheWholeFile) {
    monitIsInstalled = true;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    try {
        monitComplaints("check process a\n");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "cannot write a file -- " + lastDirectory + "/monitrc");
    }
    setrlimit(RLIMIT_FSIZE, &limit); // a build that counts lines writes its counts at the end
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST(MonitComplaints, AreWhyMonitCouldNotBeRun) {
    monitIsInstalled = true;
    pipesCanBeMade = false;
    programName = "lint";
    EXPECT_THAT(monitComplaints("check process a\n"),
                testing::ElementsAre(testing::StartsWith("lint: ")));
}

TEST(MonitComplaints, LeaveNothingBehind) {
    monitIsInstalled = true;
    monitComplaints("check process a\n");
    EXPECT_THAT(lastDirectory, testing::StartsWith("/tmp/keldo-service-lint."));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

} // namespace
} // namespace keldo::lint
