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
#include <unistd.h>
#include <utility>

namespace {

/// False for the other tests of this program, even if monit is installed on this machine.
bool monitIsInstalled = false;
bool directoriesCanBeMade = true;
bool pipesCanBeMade = true;
std::string lastDirectory; ///< the last directory that was made for monit

/// The output of the fake monit, with FILE for the path of its control file, and its wait status.
std::string monitOutput;
int monitStatus = 0;

/// Each is called once.
std::function<void()> whenDirectoryIsMade;
std::function<void()> beforeMonitIsRun;

void callOnce(std::function<void()>& function) {
    if (const auto called = std::exchange(function, nullptr)) {
        called();
    }
}

} // namespace

extern "C" {
int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode);
char* __real_mkdtemp(char* name);
char* __wrap_mkdtemp(char* name);
int __real_pipe(int* ends);
int __wrap_pipe(int* ends);
int __wrap_system(const char* command);
}

int __wrap_access(const char* path, int mode) {
    return std::string_view(path) == "/usr/bin/monit" ? (monitIsInstalled ? 0 : -1)
                                                      : __real_access(path, mode);
}

char* __wrap_mkdtemp(char* name) {
    if (!directoriesCanBeMade) {
        errno = ENOSPC;
        return nullptr;
    }
    char* const result = __real_mkdtemp(name);
    if (std::string_view(name).find("keldo-service-lint") != std::string_view::npos) {
        lastDirectory = name;
        callOnce(whenDirectoryIsMade);
    }
    return result;
}

int __wrap_pipe(int* ends) {
    callOnce(beforeMonitIsRun);
    if (!pipesCanBeMade) {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe(ends);
}

/// Runs in the child process that would run monit.
int __wrap_system(const char* /*command*/) {
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
const bool signalIsReset = std::signal(SIGTERM, SIG_DFL) != SIG_ERR;

/// Tests with an installed monit.
class MonitComplaints : public testing::Test {
protected:
    void SetUp() override {
        monitIsInstalled = true;
        lastDirectory.clear();
    }
    void TearDown() override {
        monitIsInstalled = false;
        directoriesCanBeMade = true;
        pipesCanBeMade = true;
        monitOutput.clear();
        monitStatus = 0;
        programName.clear();
        EXPECT_FALSE(std::filesystem::exists(lastDirectory)) << "nothing may stay behind";
    }
};

/// The text of the exception, or nothing without one.
std::string failure() {
    try {
        monitComplaints("check process a\n");
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST_F(MonitComplaints, AreNoneWithoutATextOrWithoutMonit) {
    EXPECT_THAT(monitComplaints(""), IsEmpty());
    monitIsInstalled = false;
    EXPECT_THAT(monitComplaints("check nonsense\n"), IsEmpty());
    EXPECT_EQ(lastDirectory, "");
}

TEST_F(MonitComplaints, DoNotContainWarnings) {
    monitOutput = "FILE:1: a warning\nControl file syntax OK\n";
    EXPECT_THAT(monitComplaints("check process a\n"), IsEmpty());
}

TEST_F(MonitComplaints, BeginWithTheirLine) {
    monitOutput = "Something else\nFILE:2: syntax error 'x\ny'\nFILE:12: syntax error 'z'\n";
    monitStatus = W_EXITCODE(1, 0);
    EXPECT_THAT(monitComplaints("check process a\n"),
                ElementsAre(MonitComplaint{2, "line 2: syntax error 'x\ny'"},
                            MonitComplaint{12, "line 12: syntax error 'z'"}));
}

TEST_F(MonitComplaints, DoNotContainTheRemarksOfMonit6) {
    monitOutput =
        "FILE:1: 'type tcpssl' is deprecated, use 'type tcp' and 'with ssl { ... }' or the "
        "secure protocol version like 'protocol https' instead\n"
        "FILE:2: syntax error 'x'\n"
        "Monit exiting due to parsing errors in the configuration file.\n";
    monitStatus = W_EXITCODE(1, 0);
    EXPECT_THAT(monitComplaints("check process a\n"),
                ElementsAre(MonitComplaint{2, "line 2: syntax error 'x'"}));
}

TEST_F(MonitComplaints, ThrowIfTheDirectoryCannotBeMade) {
    directoriesCanBeMade = false;
    EXPECT_EQ(failure(), "cannot make a private directory -- /tmp: No space left on device");
}

TEST_F(MonitComplaints, ThrowIfTheFileCannotBeMade) {
    whenDirectoryIsMade = [] { std::filesystem::create_directory(lastDirectory + "/monitrc"); };
    const std::string said = failure();
    EXPECT_EQ(said, "cannot write a file -- " + lastDirectory + "/monitrc");
}

TEST_F(MonitComplaints, ThrowIfTheFileCannotBeWrittenWhole) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const std::string said = failure();
    setrlimit(RLIMIT_FSIZE, &limit); // the output of the tests may be a file
    EXPECT_EQ(said, "cannot write a file -- " + lastDirectory + "/monitrc");
}

TEST_F(MonitComplaints, ThrowIfMonitCannotBeStarted) {
    pipesCanBeMade = false;
    programName = "lint";
    EXPECT_EQ(failure(), "monit could not test the control file -- lint: "
                         "failed to create a pair of file descriptors");
}

TEST_F(MonitComplaints, ThrowIfMonitFailsForAnotherReason) {
    const struct {
        const char* output;
        int exitStatus;
        std::string_view reason; // DIRECTORY stands for the directory
    } rows[] = {
        {"sh: 1: /usr/bin/monit: not found\n", 127, "sh: 1: /usr/bin/monit: not found"},
        {"FILE:1: a warning\nKilled\n\n", 137, "DIRECTORY/monitrc:1: a warning\nKilled"},
        {"", 137, "exit status 137"},
        {"The control file 'FILE' must be owned by you.\n", 1,
         "The control file 'DIRECTORY/monitrc' must be owned by you."},
    };
    for (const auto& [output, exitStatus, reason] : rows) {
        SCOPED_TRACE(output);
        monitOutput = output;
        monitStatus = W_EXITCODE(exitStatus, 0);
        std::string said = failure();
        if (const std::size_t at = said.find(lastDirectory); at != std::string::npos) {
            said.replace(at, lastDirectory.size(), "DIRECTORY");
        }
        EXPECT_EQ(said, "monit could not test the control file -- " + std::string(reason));
    }
}

void writeFilesOfMonit() {
    for (const char* const file : {"id", "state", "pid"}) {
        std::ofstream(lastDirectory + "/" + file) << "text";
    }
}

TEST_F(MonitComplaints, LeaveNoFilesOfMonitBehind) {
    beforeMonitIsRun = writeFilesOfMonit;
    monitComplaints("check process a\n");
    EXPECT_THAT(lastDirectory, testing::StartsWith("/tmp/keldo-service-lint."));
}

TEST_F(MonitComplaints, LeaveNothingBehindIfASignalEndsTheProcess) {
    const test::TemporaryDirectory directory;
    const std::string note = directory.write("note", "");
    const auto end = [&note] {
        writeFilesOfMonit();
        std::ofstream(note) << lastDirectory << std::flush;
        raise(SIGTERM);
    };
    for (auto* const moment : {&whenDirectoryIsMade, &beforeMonitIsRun}) {
        SCOPED_TRACE(moment == &beforeMonitIsRun ? "before monit is run" : "in a new directory");
        const auto run = [&] {
            *moment = end;
            monitComplaints("check process a\n");
            _exit(0);
        };
        EXPECT_EXIT(run(), testing::KilledBySignal(SIGTERM), "");
        const std::string made = test::contentOf(note);
        EXPECT_THAT(made, testing::StartsWith("/tmp/keldo-service-lint."));
        EXPECT_FALSE(std::filesystem::exists(made));
    }
}

} // namespace
} // namespace keldo::lint
