// SPDX-License-Identifier: MIT

#include "inspect/judgement.h"

#include "inspect/listening_port.h"
#include "inspect/names.h"
#include "support/temporary_directory.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

using namespace std::chrono_literals;

ServiceDefinition serviceWith(const std::string& pidFile, std::vector<PortCheck> ports = {},
                              std::vector<UnixSocketCheck> sockets = {}) {
    ServiceDefinition definition;
    definition.id = "web";
    definition.pidFile = pidFile;
    definition.ports = std::move(ports);
    definition.unixSockets = std::move(sockets);
    return definition;
}

ReportedService reported(const std::string& status, std::vector<ReportedTest> tests = {},
                         const std::string& monitor = "1") {
    ReportedService service;
    service.name = "web";
    service.status = status;
    service.monitor = monitor;
    service.tests = std::move(tests);
    return service;
}

ReportedTest port(std::uint32_t number, double seconds) {
    return {true, number, "", seconds < 0, seconds};
}

Answer answerOf(std::vector<ReportedService> services) {
    Answer answer;
    answer.services = std::move(services);
    return answer;
}

/// "down refused ok,failed": the state, the code and the states of the tests.
std::string summary(const Judgement& judgement) {
    std::string text = std::string(nameOf(judgement.state)) + " " + judgement.reason.code;
    for (const Test& test : judgement.tests) {
        text += (&test == &judgement.tests.front() ? " " : ",") + std::string(nameOf(test.state));
    }
    return text;
}

std::string judged(const ServiceDefinition& definition, const ReportedService& service,
                   Clock::duration took = 0s) {
    return summary(judge(definition, answerOf({service}), took));
}

const PortCheck http{PortType::TCP, 80, "http"};

} // namespace

TEST(Judgement, IsUnknownUnlessTheAnswerNamesTheServiceOnce) {
    const ServiceDefinition service = serviceWith("/none.pid");
    ReportedService other = reported("0");
    other.name = "Web";
    EXPECT_EQ(summary(judge(service, answerOf({}), 0s)), "unknown not_named untested");
    EXPECT_EQ(summary(judge(service, answerOf({other}), 0s)), "unknown not_named untested");
    EXPECT_EQ(summary(judge(service, answerOf({reported("0"), reported("0")}), 0s)),
              "unknown named_twice untested");
}

TEST(Judgement, IsUpOnlyForStatusZeroOfAMonitoredService) {
    const ServiceDefinition service = serviceWith("/none.pid");
    EXPECT_EQ(judged(service, reported("0")), "up passed ok");
    EXPECT_EQ(judged(service, reported("+0")), "up passed ok");
    EXPECT_EQ(judged(service, reported("0", {}, "")), "unknown not_told untested");
    for (const char* monitor : {"0", "2", "01", "1 "}) {
        SCOPED_TRACE(monitor);
        EXPECT_EQ(judged(service, reported("0", {}, monitor)), "unknown unmonitored untested");
    }
    for (const char* status : {"", " 0", "0 ", "ok", "0x0", "99999999999999999999"}) {
        SCOPED_TRACE(status);
        EXPECT_EQ(judged(service, reported(status)), "unknown monitor_rubbish untested");
    }
}

TEST(Judgement, IsDownForAStatusOtherThanZeroEvenWithoutAMonitoringState) {
    const ServiceDefinition service = serviceWith("/none.pid");
    EXPECT_EQ(judged(service, reported("512")), "down no_process failed");
    EXPECT_EQ(judged(service, reported("512", {}, "")), "down no_process failed");
    EXPECT_EQ(judged(service, reported("512", {}, "0")), "unknown unmonitored untested");
    EXPECT_EQ(judged(service, reported("2048")), "down zombie failed");
    EXPECT_EQ(judged(service, reported("-1")), "down zombie failed");
    EXPECT_EQ(judged(service, reported("2")), "down failed ok");
}

TEST(Judgement, TellsWhichConnectionFailed) {
    const ServiceDefinition service =
        serviceWith("/none.pid", {http, {PortType::TCP, 81, ""}}, {{"/none.sock", ""}});
    const ReportedTest socket{false, 0, "/none.sock", true, -1};
    EXPECT_EQ(judged(service, reported("32", {port(80, 0.1), port(81, 0.1), socket})),
              "down no_socket ok,failed,ok,ok");
    EXPECT_EQ(judged(service, reported("512", {port(80, 0.1), socket})),
              "down no_process failed,untested,untested,untested");
}

TEST(Judgement, TellsWhyAConnectionFailed) {
    const ListeningPort listening;
    const ServiceDefinition refused =
        serviceWith("", {{PortType::TCP, ListeningPort::freePort(), ""}});
    const ServiceDefinition taken = serviceWith("", {{PortType::TCP, listening.port(), "http"}});
    EXPECT_EQ(judged(refused, reported("32", {port(refused.ports[0].number, -1)})),
              "down refused failed");
    EXPECT_EQ(judged(taken, reported("32", {port(listening.port(), -1)}), 10ms),
              "down wrong_answer failed");
    EXPECT_EQ(judged(taken, reported("32", {port(listening.port(), -1)}), 5s),
              "down timed_out failed");
}

TEST(Judgement, TellsOfNoTimeOutIfOneOfTwoTestsMayHaveGotAWrongAnswer) {
    const ListeningPort listening;
    const PortCheck taken{PortType::TCP, listening.port(), "http"};
    const PortCheck refused{PortType::TCP, ListeningPort::freePort(), "http"};
    const auto judgedAfter = [](Clock::duration took, const PortCheck& a, const PortCheck& b) {
        return judged(serviceWith("", {a, b}),
                      reported("32", {port(b.number, -1), port(a.number, -1)}), took);
    };
    EXPECT_EQ(judgedAfter(10ms, taken, taken), "down wrong_answer failed,failed");
    EXPECT_EQ(judgedAfter(5s, taken, taken), "down failed failed,failed");
    EXPECT_EQ(judgedAfter(10s, taken, taken), "down timed_out failed,failed");
    EXPECT_EQ(judgedAfter(5s, taken, refused), "down timed_out failed,failed");
}

TEST(Judgement, AttributesAFailureToTheOnlyTestIfTheMonitorGivesNoResults) {
    EXPECT_EQ(
        judged(serviceWith("", {{PortType::TCP, ListeningPort::freePort(), ""}}), reported("32")),
        "down refused failed");
    EXPECT_EQ(judged(serviceWith("/none.pid", {http}), reported("32")), "down failed ok,untested");
}

TEST(Judgement, IsUnknownIfNoTestProvesAnything) {
    const PortCheck udp{PortType::UDP, 53, ""};
    const PortCheck dns{PortType::UDP, 53, "dns"};
    const PortCheck tls{PortType::TCPSSL, 443, ""};
    EXPECT_EQ(judged(serviceWith("", {udp}), reported("0", {port(53, 1.2)})),
              "unknown untestable untested");
    EXPECT_EQ(judged(serviceWith("", {dns}), reported("0", {port(53, 0.1)})), "up passed ok");
    EXPECT_EQ(judged(serviceWith("", {tls}), reported("0", {port(443, 5.1)})),
              "unknown untestable untested");
    EXPECT_EQ(judged(serviceWith("", {tls}), reported("0")), "unknown untestable untested");
    EXPECT_EQ(judged(serviceWith("", {tls}), reported("0", {port(443, 0.1)})), "up passed ok");
    EXPECT_EQ(judged(serviceWith("/none.pid", {udp}), reported("0", {port(53, 1.2)})),
              "up passed ok,untested");
}

TEST(Judgement, IsUnknownIfTheOnlyTestHasTheProtocolDefault) {
    for (const char* protocol : {"default", "Default", " default ", ";DEFAULT for 1 cycles"}) {
        SCOPED_TRACE(protocol);
        EXPECT_EQ(judged(serviceWith("", {{PortType::UDP, 53, protocol}}),
                         reported("0", {port(53, 1.2)})),
                  "unknown untestable untested");
        EXPECT_EQ(judged(serviceWith("", {{PortType::TCPSSL, 443, protocol}}),
                         reported("0", {port(443, 5.1)})),
                  "unknown untestable untested");
    }
}

TEST(Judgement, IsUnknownIfAFailedTestHasNoEffectOnTheStatus) {
    const PortCheck patient{PortType::TCP, 80, "http for 3 cycles"};
    EXPECT_EQ(judged(serviceWith("/none.pid", {patient}), reported("0", {port(80, -1)})),
              "unknown untestable ok,failed");
    EXPECT_EQ(judged(serviceWith("/none.pid"), reported("0", {port(80, -1)})),
              "unknown untestable ok");
}

TEST(Judgement, TakesTheResultsOfTwoTestsOfAPortInMonitsReverseOrder) {
    const PortCheck tcp{PortType::TCP, 443, ""};
    const PortCheck tls{PortType::TCPSSL, 443, ""};
    EXPECT_EQ(judged(serviceWith("", {tls, tcp}), reported("0", {port(443, 0.1), port(443, 5.1)})),
              "up passed untested,ok");
}

TEST(Judgement, IsDownIfTheProcessIsStopped) {
    const test::TemporaryDirectory directory;
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const std::string pidFile = directory.path() / "web.pid";
    std::ofstream(pidFile) << child << "\n";
    EXPECT_EQ(judged(serviceWith(pidFile), reported("0")), "up passed ok");
    kill(child, SIGSTOP);
    waitpid(child, nullptr, WUNTRACED);
    EXPECT_EQ(judged(serviceWith(pidFile), reported("0")), "down stopped_process failed");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(Judgement, KeepsTheMonitorsWordsAndTime) {
    ReportedService service = reported("512");
    service.words = "'web' process is not running";
    service.seconds = 0.25;
    const Judgement judgement = judge(serviceWith("/none.pid"), answerOf({service}), 3s);
    EXPECT_EQ(judgement.detail, service.words);
    EXPECT_EQ(judgement.duration, 250ms);
    EXPECT_EQ(judgement.reason.text.text, "The pid file /none.pid names no running process.");
}

} // namespace keldo::inspect
