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
bool directoriesStay = true;
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
        if (!directoriesStay) {
            rmdir(name);
        }
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

/// With a monit that can be run, in these tests only.
class MonitComplaints : public testing::Test {
protected:
    void SetUp() override {
        monitIsInstalled = true;
        lastDirectory.clear();
    }
    void TearDown() override {
        monitIsInstalled = false;
        directoriesCanBeMade = true;
        directoriesStay = true;
        pipesCanBeMade = true;
        programName.clear();
    }
};

/// Why there are no complaints to be had.
std::string failureFor(const std::string& controlFile) {
    try {
        monitComplaints(controlFile);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST_F(MonitComplaints, AreNoneOfAnEmptyFile) {
    EXPECT_THAT(monitComplaints(""), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST_F(MonitComplaints, AreNoneWhereNoMonitIsInstalled) {
    monitIsInstalled = false;
    EXPECT_THAT(monitComplaints("check nonsense\n"), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST_F(MonitComplaints, CannotBeHadWithoutAPlaceForTheFile) {
    directoriesCanBeMade = false;
    EXPECT_EQ(failureFor("check process a\n"), "cannot make a directory -- "
                                               "/tmp/keldo-service-lint.XXXXXX: No space left on "
                                               "device");
}

TEST_F(MonitComplaints, CannotBeHadWithoutTheFile) {
    directoriesStay = false;
    const std::string failure = failureFor("check process a\n");
    EXPECT_EQ(failure, "cannot write a file -- " + lastDirectory + "/monitrc");
}

TEST_F(MonitComplaints, CannotBeHadWithoutTheWholeFile) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const std::string failure = failureFor("check process a\n");
    setrlimit(RLIMIT_FSIZE, &limit); // the test's own output, and its counts, may be files
    EXPECT_EQ(failure, "cannot write a file -- " + lastDirectory + "/monitrc");
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST_F(MonitComplaints, AreWhyMonitCouldNotBeRun) {
    pipesCanBeMade = false;
    programName = "lint";
    EXPECT_THAT(monitComplaints("check process a\n"),
                testing::ElementsAre(testing::StartsWith("lint: ")));
}

TEST_F(MonitComplaints, LeaveNothingBehind) {
    monitComplaints("check process a\n");
    EXPECT_THAT(lastDirectory, testing::StartsWith("/tmp/keldo-service-lint."));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

} // namespace
} // namespace keldo::lint
