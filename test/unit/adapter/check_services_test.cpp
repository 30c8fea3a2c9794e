// SPDX-License-Identifier: MIT

#include "adapter/check_services.h"

#include "adapter/file.h"
#include "adapter/watch.h"
#include "fake_monit.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// How far the clock jumps each time it is read.
std::chrono::seconds clockStep{0};
std::chrono::seconds clockAhead{0};

} // namespace

// steady_clock::now()
extern "C" {
keldo::adapter::Clock::time_point __real__ZNSt6chrono3_V212steady_clock3nowEv();
keldo::adapter::Clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv();
}

keldo::adapter::Clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    clockAhead += clockStep;
    return __real__ZNSt6chrono3_V212steady_clock3nowEv() + clockAhead;
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
        EXPECT_TRUE(test::directoriesLeft().empty());
        EXPECT_FALSE(test::hasChild());
    }

    const ControlFile control =
        parseControlFile("/control", "check process web if failed port 1 then alert");
};

TEST_F(CheckServices, ReturnsTheServicesOnceAllAreChecked) {
    const FakeMonit fake([](const FakeMonit::Call& call) {
        answerRequests(call, {"", statusAnswer("web", 0, 2), statusAnswer("web", 512, 1)});
    });
    const std::vector<Service> services = checkServices(control);
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0].name, "web");
    EXPECT_EQ(services[0].status, "512");
    EXPECT_TRUE(services[0].isChecked);
}

TEST_F(CheckServices, ReturnsNoServicesForAnEmptyFileWithoutMonit) {
    EXPECT_TRUE(checkServices(parseControlFile("/control", "# nothing\n")).empty());
}

TEST_F(CheckServices, ReturnsUncheckedServicesIfMonitDoesNotAnswer) {
    const FakeMonit fake([](const FakeMonit::Call&) { test::hang(); });
    clockStep = std::chrono::seconds(5);
    const std::vector<Service> services = checkServices(control);
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0].name, "web");
    EXPECT_FALSE(services[0].isChecked);
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
    try {
        checkServices(control);
        ADD_FAILURE();
    } catch (const MonitEnded& ended) {
        EXPECT_STREQ(ended.what(), "/control:1: syntax error");
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
    try {
        checkServices(control);
        ADD_FAILURE();
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(), "cannot make a private directory -- Read-only file system");
    }
    test::refuseDirectories(0);
}

} // namespace
} // namespace keldo::adapter
