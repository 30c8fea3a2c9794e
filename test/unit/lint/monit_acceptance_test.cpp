// SPDX-License-Identifier: MIT

#include "lint/monit_acceptance.h"

#include "exec/process_state.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

/// Not so for all other tests of this program, whatever is installed on the machine.
bool monitIsInstalled = false;
bool directoriesCanBeMade = true;
bool directoriesStay = true;
bool pipesCanBeMade = true;
std::string lastDirectory;

/// What monit says, with FILE for the path of its control file, and what system(3) tells of it.
std::string monitOutput;
int monitStatus = 0;

std::function<void()> whenDirectoryIsMade;
std::function<void()> whenMonitIsToBeRun;
std::function<void()> whenDirectoryIsToBeRemoved;

void call(std::function<void()>& hook) {
    if (const auto once = std::exchange(hook, nullptr)) {
        once();
    }
}

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
        call(whenDirectoryIsMade);
    }
    return result;
}

extern "C" int __real_pipe(int* ends);
extern "C" int __wrap_pipe(int* ends) {
    call(whenMonitIsToBeRun);
    if (!pipesCanBeMade) {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe(ends);
}

extern "C" int __real_rmdir(const char* path);
extern "C" int __wrap_rmdir(const char* path) {
    std::error_code gone;
    if (std::filesystem::is_empty(path, gone)) {
        call(whenDirectoryIsToBeRemoved);
    }
    return __real_rmdir(path);
}

/// Runs in the child process that is to run monit.
extern "C" int __wrap_system(const char* command);
extern "C" int __wrap_system(const char* /*command*/) {
    const std::string file = lastDirectory + "/monitrc";
    std::string output = monitOutput;
    for (std::size_t at = 0; (at = output.find("FILE", at)) != std::string::npos;) {
        output.replace(at, std::string_view("FILE").size(), file);
    }
    [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, output.data(), output.size());
    return monitStatus;
}

namespace keldo::lint {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The signal ends the process, however the tests were started: before any of them runs.
const bool endedBySignals = std::signal(SIGTERM, SIG_DFL) != SIG_ERR;

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
        monitOutput.clear();
        monitStatus = 0;
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

/// Of a monit that says this and ends with this exit code.
std::string failureOf(const std::string& output, int exitCode) {
    monitOutput = output;
    monitStatus = W_EXITCODE(exitCode, 0);
    return failureFor("check process a\n");
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

TEST_F(MonitComplaints, AreNoneOfWhatMonitReadsWithAWarning) {
    monitOutput = "FILE:1: a warning\nControl file syntax OK\n";
    EXPECT_THAT(monitComplaints("check process a\n"), IsEmpty());
}

TEST_F(MonitComplaints, AreToldWithTheirLines) {
    monitOutput = "Something else\nFILE:2: syntax error 'x\ny'\nFILE:12: syntax error 'z'\n";
    monitStatus = W_EXITCODE(1, 0);
    EXPECT_THAT(monitComplaints("check process a\n"),
                ElementsAre("line 2: syntax error 'x\ny'", "line 12: syntax error 'z'"));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
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

TEST_F(MonitComplaints, CannotBeHadWhereMonitCannotBeStarted) {
    pipesCanBeMade = false;
    programName = "lint";
    EXPECT_EQ(failureFor("check process a\n"), "monit could not test the control file -- lint: "
                                               "failed to create a pair of file descriptors");
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST_F(MonitComplaints, CannotBeHadOfAMonitThatCannotBeExecuted) {
    EXPECT_EQ(failureOf("sh: 1: /usr/bin/monit: not found\n", 127),
              "monit could not test the control file -- sh: 1: /usr/bin/monit: not found");
}

TEST_F(MonitComplaints, CannotBeHadOfAMonitThatDies) {
    const std::string failure = failureOf("FILE:1: a warning\nKilled\n\n", 137);
    EXPECT_EQ(failure, "monit could not test the control file -- " + lastDirectory +
                           "/monitrc:1: a warning\nKilled");
    EXPECT_EQ(failureOf("", 137), "monit could not test the control file -- exit status 137");
}

TEST_F(MonitComplaints, CannotBeHadOfAMonitThatRefusesForAnotherReason) {
    const std::string failure = failureOf("The control file 'FILE' must be owned by you.\n", 1);
    EXPECT_EQ(failure, "monit could not test the control file -- The control file '" +
                           lastDirectory + "/monitrc' must be owned by you.");
}

TEST_F(MonitComplaints, LeaveNothingBehind) {
    whenMonitIsToBeRun = [] {
        for (const char* const file : {"id", "state", "pid"}) {
            std::ofstream(lastDirectory + "/" + file) << "text";
        }
    };
    monitComplaints("check process a\n");
    EXPECT_THAT(lastDirectory, testing::StartsWith("/tmp/keldo-service-lint."));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

/// In a process that a signal ends.
class EndedMonitComplaints : public MonitComplaints {
protected:
    /// Sends the signal, once the test can know of which directory there should be nothing left.
    void end() const {
        std::ofstream(note) << lastDirectory << std::flush;
        raise(SIGTERM);
    }
    static void complain() {
        monitComplaints("check process a\n");
        _exit(0);
    }
    static void writeId() { std::ofstream(lastDirectory + "/id") << "text"; }

    /// The signal comes while monit would run, which has written its id by then.
    void complainUntilEnded() const {
        whenMonitIsToBeRun = [this] {
            writeId();
            end();
        };
        complain();
    }

    /// Expects that the directory was there once, and is gone.
    void expectNothingLeft() const {
        const std::string left = test::contentOf(note);
        EXPECT_THAT(left, testing::StartsWith("/tmp/keldo-service-lint."));
        EXPECT_FALSE(std::filesystem::exists(left));
    }

    const test::TemporaryDirectory directory;
    const std::string note = directory.write("note", "");
};

TEST_F(EndedMonitComplaints, LeaveNothingBehind) {
    EXPECT_EXIT(complainUntilEnded(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

TEST_F(EndedMonitComplaints, LeaveNoDirectoryThatWasMadeJustNow) {
    const auto run = [this] {
        whenDirectoryIsMade = [this] { end(); };
        complain();
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

TEST_F(EndedMonitComplaints, LeaveNothingOfAMonitThatWritesMeanwhile) {
    const auto run = [this] {
        whenDirectoryIsToBeRemoved = writeId;
        complainUntilEnded();
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

} // namespace
} // namespace keldo::lint
