// SPDX-License-Identifier: MIT

#include "adapter/check_services.h"

#include "adapter/file.h"
#include "adapter/watch.h"
#include "failure_of.h"
#include "fake_monit.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// How far the clock jumps each time it is read.
std::chrono::milliseconds clockStep{0};
std::chrono::milliseconds clockAhead{0};
/// Whether it jumps an hour once monit has answered.
bool clockAwaitsAnswer = false;

bool monitHasAnswered() {
    const std::vector<std::string> directories = keldo::test::directoriesLeft();
    return !directories.empty() && std::filesystem::exists(directories.front() + "/answered");
}

} // namespace

// steady_clock::now(), as the linker names it. In extern "C" the labels would not be needed, but
// clang++ warns if such a function returns a C++ type.
keldo::adapter::Clock::time_point realNow() asm("__real__ZNSt6chrono3_V212steady_clock3nowEv");
keldo::adapter::Clock::time_point aheadNow() asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");

keldo::adapter::Clock::time_point aheadNow() {
    clockAhead += clockStep;
    if (clockAwaitsAnswer && monitHasAnswered()) {
        clockAhead += std::chrono::hours(1);
    }
    return realNow() + clockAhead;
}

namespace keldo::adapter {
namespace {

using test::answerRequests;
using test::FakeMonit;
using test::statusAnswer;

class CheckServices : public testing::Test {
protected:
    ~CheckServices() override {
        clockStep = std::chrono::seconds(0);
        clockAwaitsAnswer = false;
        EXPECT_TRUE(test::directoriesLeft().empty());
        EXPECT_FALSE(test::hasChild());
    }

    static void expect(const Findings& findings, const char* status, const char* monitor) {
        ASSERT_EQ(findings.services.size(), 1U);
        EXPECT_EQ(findings.services[0].name, "web");
        EXPECT_EQ(findings.services[0].status, status);
        EXPECT_EQ(findings.services[0].monitor, monitor);
    }

    const ControlFile control =
        parseControlFile("/control", "check process web if failed port 1 then alert");
};

TEST_F(CheckServices, ReturnsTheServicesOnceAllAreChecked) {
    const FakeMonit fake([](const FakeMonit::Call& call) {
        answerRequests(call, {"", statusAnswer("web", 0, 2), statusAnswer("web", 512, 1)});
    });
    expect(checkServices(control), "512", "1");
}

TEST_F(CheckServices, ReturnsNoServicesForAnEmptyFileAndDoesNotRunMonit) {
    EXPECT_TRUE(checkServices(parseControlFile("/control", "# nothing\n")).services.empty());
}

TEST_F(CheckServices, ReturnsUncheckedServicesIfMonitDoesNotAnswer) {
    const FakeMonit fake([](const FakeMonit::Call&) { test::hang(); });
    clockStep = std::chrono::seconds(5);
    expect(checkServices(control), "0", "2");
}

TEST_F(CheckServices, ReturnsTheLastAnswerOfMonitAtTheLimit) {
    const FakeMonit fake([](const FakeMonit::Call& call) {
        std::printf("'web' is down\n");
        std::fflush(stdout);
        std::ofstream(call.file("pid")) << getpid();
        answerRequests(call, {statusAnswer("web", 32, 2)});
    });
    const auto before = std::chrono::system_clock::now().time_since_epoch();
    clockAwaitsAnswer = true;
    const Findings findings = checkServices(control, std::chrono::minutes(59));
    expect(findings, "32", "2");
    EXPECT_EQ(findings.printed, "'web' is down\n");
    ASSERT_TRUE(findings.begin.has_value());
    EXPECT_GT(*findings.begin, before - std::chrono::seconds(1)); // files have a coarse clock
}

TEST_F(CheckServices, ReturnsUncheckedServicesIfMonitDoesNotAnswerUntilTheLimit) {
    const FakeMonit fake([](const FakeMonit::Call&) { test::hang(); });
    clockStep = std::chrono::milliseconds(1);
    const Findings findings = checkServices(control, std::chrono::milliseconds(1));
    expect(findings, "0", "2");
    EXPECT_EQ(findings.begin, std::nullopt);
}

TEST_F(CheckServices, WaitsFiveSecondsForEachTestAndFiveMore) {
    const FakeMonit fake([](const FakeMonit::Call&) { test::hang(); });
    clockStep = std::chrono::seconds(2);
    clockAhead = std::chrono::seconds(0);
    checkServices(control);
    // The limit is 10 seconds. It starts when the clock is first read, which is at 2 seconds.
    EXPECT_GE(clockAhead, std::chrono::seconds(12));
    EXPECT_LT(clockAhead, std::chrono::seconds(12 + 4));
}

TEST_F(CheckServices, ThrowsTheOutputOfMonitIfMonitEnds) {
    const FakeMonit fake([](const FakeMonit::Call& call) {
        std::printf("%s:1: syntax error", call.arguments.back().c_str());
        std::fflush(stdout);
    });
    EXPECT_EQ(test::failureOf([this] { checkServices(control); }), "/control:1: syntax error");
}

TEST_F(CheckServices, TellsWhetherMonitHasRefusedTheControlFile) {
    const struct {
        const char* description;
        void (*program)(const FakeMonit::Call&);
        bool isRefusal;
    } rows[] = {
        {"failure", [](const FakeMonit::Call&) { _exit(1); }, true},
        {"success", [](const FakeMonit::Call&) { _exit(0); }, false},
        {"not executed", [](const FakeMonit::Call&) { _exit(127); }, false},
        {"killed", [](const FakeMonit::Call&) { raise(SIGKILL); }, false},
        {"failure after it has accepted the file",
         [](const FakeMonit::Call& call) {
             std::ofstream(call.file("id")).close();
             _exit(1);
         },
         false},
    };
    for (const auto& [description, program, isRefusal] : rows) {
        SCOPED_TRACE(description);
        const FakeMonit fake(program);
        try {
            checkServices(control);
            ADD_FAILURE();
        } catch (const MonitEnded& ended) {
            EXPECT_EQ(ended.hasRefusedControlFile, isRefusal);
        }
    }
}

TEST_F(CheckServices, ThrowsASignalThatAsksTheProgramToEnd) {
    for (const int signal : {SIGTERM, SIGINT, SIGALRM, SIGIO, SIGPWR, SIGXFSZ, SIGRTMIN}) {
        SCOPED_TRACE(signal);
        std::signal(signal, SIG_DFL);
        const FakeMonit fake([signal](const FakeMonit::Call&) {
            kill(getppid(), signal);
            test::hang();
        });
        try {
            checkServices(control);
            ADD_FAILURE();
        } catch (const Interrupted& interrupted) {
            EXPECT_EQ(interrupted.signalNumber, signal);
        }
    }
}

TEST_F(CheckServices, ThrowsIfMonitRefusesToAnswer) {
    const FakeMonit fake([](const FakeMonit::Call& call) {
        answerRequests(call, {"HTTP/1.0 401 Unauthorized\r\n\r\n"});
    });
    EXPECT_THROW(checkServices(control), Failure);
}

TEST_F(CheckServices, ThrowsIfNoDirectoryCanBeMade) {
    const FakeMonit fake([](const FakeMonit::Call&) {});
    test::refuseDirectories(EROFS);
    EXPECT_EQ(test::failureOf([this] { checkServices(control); }),
              "cannot make a private directory -- Read-only file system");
    test::refuseDirectories(0);
}

} // namespace
} // namespace keldo::adapter
