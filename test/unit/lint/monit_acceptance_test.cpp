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

/// The answers of the wrapped functions. In all other tests of this program monit is not installed,
/// whatever the machine has.
bool monitIsInstalled = false;
bool directoriesCanBeMade = true;
bool directoriesStay = true;
bool pipesCanBeMade = true;
std::string lastDirectory;

/// The output of monit, with FILE in place of the path of its control file, and the result of
/// system(3).
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

/// Runs in the child process instead of monit.
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

/// Restores the default action of SIGTERM before any test runs, since the caller of the tests may
/// ignore it.
const bool endedBySignals = std::signal(SIGTERM, SIG_DFL) != SIG_ERR;

/// Tests with a monit that is installed.
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

/// The message of the exception that monitComplaints() throws; empty if it throws none.
std::string failureFor(const std::string& controlFile) {
    try {
        monitComplaints(controlFile);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

/// The same for a monit that prints `output` and ends with `exitCode`.
std::string failureOf(const std::string& output, int exitCode) {
    monitOutput = output;
    monitStatus = W_EXITCODE(exitCode, 0);
    return failureFor("check process a\n");
}

TEST_F(MonitComplaints, AreNoneForAnEmptyFile) {
    EXPECT_THAT(monitComplaints(""), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST_F(MonitComplaints, AreNoneIfNoMonitIsInstalled) {
    monitIsInstalled = false;
    EXPECT_THAT(monitComplaints("check nonsense\n"), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST_F(MonitComplaints, AreNoneIfMonitOnlyWarns) {
    monitOutput = "FILE:1: a warning\nControl file syntax OK\n";
    EXPECT_THAT(monitComplaints("check process a\n"), IsEmpty());
}

TEST_F(MonitComplaints, HaveTheLinesThatMonitNames) {
    monitOutput = "Something else\nFILE:2: syntax error 'x\ny'\nFILE:12: syntax error 'z'\n";
    monitStatus = W_EXITCODE(1, 0);
    EXPECT_THAT(monitComplaints("check process a\n"),
                ElementsAre("line 2: syntax error 'x\ny'", "line 12: syntax error 'z'"));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST_F(MonitComplaints, ThrowIfNoDirectoryCanBeMade) {
    directoriesCanBeMade = false;
    EXPECT_EQ(failureFor("check process a\n"), "cannot make a directory -- "
                                               "/tmp/keldo-service-lint.XXXXXX: No space left on "
                                               "device");
}

TEST_F(MonitComplaints, ThrowIfTheFileCannotBeMade) {
    directoriesStay = false;
    const std::string failure = failureFor("check process a\n");
    EXPECT_EQ(failure, "cannot write a file -- " + lastDirectory + "/monitrc");
}

TEST_F(MonitComplaints, ThrowIfTheFileCannotBeWrittenWhole) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const std::string failure = failureFor("check process a\n");
    setrlimit(RLIMIT_FSIZE, &limit); // before the test program writes files of its own
    EXPECT_EQ(failure, "cannot write a file -- " + lastDirectory + "/monitrc");
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST_F(MonitComplaints, ThrowIfTheCommandRunnerFails) {
    pipesCanBeMade = false;
    programName = "lint";
    EXPECT_EQ(failureFor("check process a\n"), "monit could not test the control file -- lint: "
                                               "failed to create a pair of file descriptors");
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

TEST_F(MonitComplaints, ThrowIfTheShellCannotExecuteMonit) {
    EXPECT_EQ(failureOf("sh: 1: /usr/bin/monit: not found\n", 127),
              "monit could not test the control file -- sh: 1: /usr/bin/monit: not found");
}

TEST_F(MonitComplaints, ThrowIfMonitDies) {
    const std::string failure = failureOf("FILE:1: a warning\nKilled\n\n", 137);
    EXPECT_EQ(failure, "monit could not test the control file -- " + lastDirectory +
                           "/monitrc:1: a warning\nKilled");
    EXPECT_EQ(failureOf("", 137), "monit could not test the control file -- exit status 137");
}

TEST_F(MonitComplaints, ThrowIfMonitFailsForAnotherReason) {
    const std::string failure = failureOf("The control file 'FILE' must be owned by you.\n", 1);
    EXPECT_EQ(failure, "monit could not test the control file -- The control file '" +
                           lastDirectory + "/monitrc' must be owned by you.");
}

TEST_F(MonitComplaints, LeaveNoFiles) {
    whenMonitIsToBeRun = [] {
        for (const char* const file : {"id", "state", "pid"}) {
            std::ofstream(lastDirectory + "/" + file) << "text";
        }
    };
    monitComplaints("check process a\n");
    EXPECT_THAT(lastDirectory, testing::StartsWith("/tmp/keldo-service-lint."));
    EXPECT_FALSE(std::filesystem::exists(lastDirectory));
}

/// Tests of a process that a signal ends.
class EndedMonitComplaints : public MonitComplaints {
protected:
    /// Writes the directory's name to `note` for the test, then ends this process by SIGTERM.
    void end() const {
        std::ofstream(note) << lastDirectory << std::flush;
        raise(SIGTERM);
    }
    static void complain() {
        monitComplaints("check process a\n");
        _exit(0);
    }
    static void writeId() { std::ofstream(lastDirectory + "/id") << "text"; }

    /// The signal comes while monit runs. Monit has written its id by then.
    void complainUntilEnded() const {
        whenMonitIsToBeRun = [this] {
            writeId();
            end();
        };
        complain();
    }

    /// Expects that the directory existed and is gone.
    void expectNothingLeft() const {
        const std::string left = test::contentOf(note);
        EXPECT_THAT(left, testing::StartsWith("/tmp/keldo-service-lint."));
        EXPECT_FALSE(std::filesystem::exists(left));
    }

    const test::TemporaryDirectory directory;
    const std::string note = directory.write("note", "");
};

TEST_F(EndedMonitComplaints, LeaveNoFiles) {
    EXPECT_EXIT(complainUntilEnded(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

TEST_F(EndedMonitComplaints, LeaveNoDirectoryIfTheSignalComesRightAfterItsCreation) {
    const auto run = [this] {
        whenDirectoryIsMade = [this] { end(); };
        complain();
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

TEST_F(EndedMonitComplaints, LeaveNoFilesIfMonitWritesDuringTheRemoval) {
    const auto run = [this] {
        whenDirectoryIsToBeRemoved = writeId;
        complainUntilEnded();
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGTERM), "");
    expectNothingLeft();
}

} // namespace
} // namespace keldo::lint
