// SPDX-License-Identifier: MIT

#include "inspect/judgement.h"

#include "inspect/look.h"
#include "inspect/reasons.h"
#include "xml/characters.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <ranges>
#include <string_view>
#include <utility>

namespace keldo::inspect {

namespace {

/// Monit's status bits: the errors that it has found.
constexpr long connectionFailed = 0x20;
constexpr long noProcess = 0x200;
constexpr long zombie = 0x800;

/// A failed test that took at least this long has timed out. Monit waits five seconds for an
/// answer, or less for a datagram. A wrong answer from this host comes within milliseconds.
constexpr double secondsForAnswer = 5;
constexpr double secondsForDatagram = 0.2;

/// In seconds.
double limitOf(const Test& test) {
    return test.type == "UDP" ? secondsForDatagram : secondsForAnswer;
}

const char* typeName(PortType type) {
    switch (type) {
    case PortType::UDP:
        return "UDP";
    case PortType::TCPSSL:
        return "TCPSSL";
    case PortType::TCP:
        break;
    }
    return "TCP";
}

/// The whole text as a decimal number, with an optional sign.
std::optional<long> statusIn(const std::string& text) {
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    long number = 0;
    const auto [rest, error] = std::from_chars(begin, end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// Whether monit tests more than the connection. The keyword for no protocol is "default", in any
/// mixture of upper and lower case. More of monit's words may follow.
bool hasProtocol(std::string_view protocol) {
    constexpr std::string_view blanks = " \t\r\n\f\v,;";
    protocol.remove_prefix(std::min(protocol.size(), protocol.find_first_not_of(blanks)));
    protocol = protocol.substr(0, protocol.find_first_of(blanks));
    return !protocol.empty() &&
           !std::ranges::equal(protocol, std::string_view("default"), {}, lowerCase);
}

/// Whether a passed test proves nothing. This concerns ports without a protocol: a UDP client may
/// not notice a refusal, and monit passes a TLS handshake that gets no answer.
bool provesNothing(const Test& test, const ReportedTest* reported) {
    if (test.kind != TestKind::port || hasProtocol(test.protocol)) {
        return false;
    }
    return test.type == "UDP" || (test.type == "TCPSSL" &&
                                  (reported == nullptr || reported->seconds >= secondsForAnswer));
}

Test testOfPath(TestKind kind, const std::string& path) {
    Test test;
    test.kind = kind;
    test.path = path;
    return test;
}

Test testOfPort(const PortCheck& check) {
    Test test;
    test.kind = TestKind::port;
    test.number = check.number;
    test.type = typeName(check.type);
    test.protocol = check.protocol;
    return test;
}

/// The tests that the control file of the service asks for, all in the state "untested".
std::vector<Test> testsOf(const ServiceDefinition& definition) {
    std::vector<Test> tests;
    if (!definition.pidFile.empty()) {
        tests.push_back(testOfPath(TestKind::pidFile, definition.pidFile));
        for (const UnixSocketCheck& check : definition.unixSockets) {
            tests.push_back(testOfPath(TestKind::unixSocket, check.path));
        }
    }
    for (const PortCheck& check : definition.ports) {
        tests.push_back(testOfPort(check));
    }
    return tests;
}

/// Judges one service that the answer names once.
class Judge {
public:
    Judge(const ServiceDefinition& definition, const ReportedService& reported,
          Clock::duration took)
        : definition_(definition), reported_(reported) {
        judgement_.tests = testsOf(definition);
        judgement_.detail = reported.words;
        judgement_.duration = reported.seconds
                                  ? std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(*reported.seconds))
                                  : took;
    }

    Judgement judgement() && {
        const std::optional<long> status = statusIn(reported_.status);
        if (!status) {
            return std::move(*this).as(State::unknown, reason("monitor_rubbish"));
        }
        if (!reported_.monitor.empty() && reported_.monitor != "1") {
            return std::move(*this).as(State::unknown, reason("unmonitored"));
        }
        if (reported_.monitor.empty() && *status == 0) {
            return std::move(*this).as(State::unknown, reason("not_told"));
        }
        markTests(*status);
        if (*status != 0) {
            return std::move(*this).as(State::down, reasonOfStatus(*status));
        }
        const NamedProcess process = lookAtProcess(definition_.pidFile);
        if (process != NamedProcess::running) {
            pidFileTest()->state = TestState::failed;
            const bool isStopped = process == NamedProcess::stopped;
            return std::move(*this).as(State::down,
                                       pidFileReason(isStopped ? "stopped_process" : "no_process"));
        }
        const bool isProven =
            std::ranges::any_of(judgement_.tests,
                                [](const Test& test) { return test.state == TestState::ok; }) &&
            // The definition may allow some failures before monit counts them.
            std::ranges::none_of(reported_.tests, &ReportedTest::hasFailed);
        return isProven ? std::move(*this).as(State::up, reason("passed"))
                        : std::move(*this).as(State::unknown, reason("untestable"));
    }

private:
    Judgement as(State state, Reason why) && {
        judgement_.state = state;
        judgement_.reason = std::move(why);
        return std::move(judgement_);
    }

    Test* pidFileTest() {
        return definition_.pidFile.empty() ? nullptr : &judgement_.tests.front();
    }

    Reason pidFileReason(const char* code) const {
        return reason(code, Subject::general, Substitution{"<path>", definition_.pidFile});
    }

    void markTests(long status) {
        const bool hasProcess = (status & (noProcess | zombie)) == 0;
        if (Test* const test = pidFileTest()) {
            test->state = hasProcess ? TestState::ok : TestState::failed;
        }
        if (!hasProcess) {
            return; // without a process, monit tests nothing else
        }
        // Monit prepends each test to its list, so its results are in the reverse order.
        std::vector<ReportedTest> reported(reported_.tests.rbegin(), reported_.tests.rend());
        for (Test& test : judgement_.tests) {
            if (test.kind != TestKind::pidFile) {
                markConnection(test, status, reported);
            }
        }
    }

    /// Sets the test's state from its result, which it removes from `reported`. Without a result,
    /// the status decides: 0 means that all tests passed. An error means that a test failed; if the
    /// service has several tests, the test that failed is not known.
    void markConnection(Test& test, long status, std::vector<ReportedTest>& reported) const {
        const auto found = std::ranges::find_if(reported, [&test](const ReportedTest& candidate) {
            return candidate.isPort == (test.kind == TestKind::port) &&
                   (candidate.isPort ? candidate.number == test.number
                                     : candidate.path == test.path);
        });
        const ReportedTest* const result = found != reported.end() ? &*found : nullptr;
        const bool hasFailed =
            result != nullptr ? result->hasFailed
                              : (status & connectionFailed) != 0 && judgement_.tests.size() == 1;
        if (hasFailed) {
            test.state = TestState::failed;
        } else if ((result != nullptr || status == 0) && !provesNothing(test, result)) {
            test.state = TestState::ok;
        }
        if (found != reported.end()) {
            reported.erase(found);
        }
    }

    Reason reasonOfStatus(long status) {
        if (!definition_.pidFile.empty() && (status & zombie) != 0) {
            return pidFileReason("zombie");
        }
        if (!definition_.pidFile.empty() && (status & noProcess) != 0) {
            return pidFileReason("no_process");
        }
        if ((status & connectionFailed) != 0) {
            for (const Test& test : judgement_.tests) {
                const std::string code = hasFailedConnection(test) ? codeOfConnection(test) : "";
                if (!code.empty()) {
                    return reasonOfTest(code, test);
                }
            }
        }
        return reason("failed", Subject::general, Substitution{"<status>", reported_.status});
    }

    static bool hasFailedConnection(const Test& test) {
        return test.kind != TestKind::pidFile && test.state == TestState::failed;
    }

    /// If something listens, the duration decides: a missing answer takes monit's whole time limit,
    /// a wrong answer does not. Empty if some of several tests may have timed out: it is not known
    /// which.
    std::string codeOfConnection(const Test& test) const {
        switch (lookAt(test)) {
        case Listener::noSocket:
            return "no_socket";
        case Listener::none:
            return "refused";
        case Listener::listens:
            break;
        }
        const std::chrono::duration<double> seconds = judgement_.duration;
        if (seconds.count() < limitOf(test)) {
            return "wrong_answer";
        }
        double limits = 0;
        for (const Test& other : judgement_.tests) {
            if (hasFailedConnection(other) && lookAt(other) == Listener::listens) {
                limits += limitOf(other);
            }
        }
        return seconds.count() >= limits ? "timed_out" : "";
    }

    const ServiceDefinition& definition_;
    const ReportedService& reported_;
    Judgement judgement_;
};

} // namespace

Judgement untested(const ServiceDefinition& definition, State state, Reason why,
                   std::string detail) {
    return {state, std::move(why), std::move(detail), testsOf(definition), {}};
}

Judgement judge(const ServiceDefinition& definition, const Answer& answer, Clock::duration took) {
    const auto isThis = [&definition](const ReportedService& service) {
        return service.name == definition.id;
    };
    const auto count = std::ranges::count_if(answer.services, isThis);
    if (count != 1) {
        Judgement judgement =
            untested(definition, State::unknown, reason(count == 0 ? "not_named" : "named_twice"));
        judgement.duration = took;
        return judgement;
    }
    return Judge(definition, *std::ranges::find_if(answer.services, isThis), took).judgement();
}

} // namespace keldo::inspect
