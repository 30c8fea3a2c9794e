// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace keldo::inspect {

/// The clock of all limits and durations.
using Clock = std::chrono::steady_clock;

/// Why something is in its state: a code for programs, a sentence for people.
struct Reason {
    std::string code; ///< such as "refused"; keldoctl-inspect(8) explains each
    Message text;     ///< in the report's language, or in English
};

enum class State { up, down, unknown, stopped, unchecked };

/// Why the inspection lists a service: it is a core service of the panel, or the administrator
/// started it through the panel at some time.
enum class Origin { core, started };

enum class TestState { ok, failed, untested };

enum class TestKind { pidFile, unixSocket, port, connection };

/// One test of a service, as its definition asks for it. The database's only test is a connection.
struct Test {
    TestKind kind = TestKind::pidFile;
    std::string path;         ///< of the pid file or the socket
    std::uint32_t number = 0; ///< of the port
    std::string type;         ///< of the port: TCP, UDP or TCPSSL
    std::string protocol;     ///< of the port; may be empty
    TestState state = TestState::untested;
};

/// The state of one service, as the inspection found it.
struct Judgement {
    State state = State::unknown;
    Reason reason;
    std::string detail; ///< the words of the monitor or the database, in any bytes; may be empty
    std::vector<Test> tests;
    Clock::duration duration{0};
};

/// A service of the panel.
struct InspectedService {
    std::string id;
    Origin origin = Origin::core;
    Message title; ///< its text is empty without a readable definition
    Judgement judgement;
};

enum class DependencyState { ok, missing, failed, unasked };

/// A file, program or server that the inspection depends on.
struct Dependency {
    std::string id; ///< such as "database"
    DependencyState state = DependencyState::ok;
    std::string path;   ///< of the file or directory; may be empty
    Reason reason;      ///< its code is empty if the state is ok
    std::string detail; ///< another program's words, in any bytes; may be empty
};

enum class Verdict { well, problems, unknown, upgrade };

/// One inspection. The problems, the actions and their results are in problemModel.
struct Inspection {
    std::string host;
    std::chrono::system_clock::time_point started;
    Clock::duration duration{0};
    Verdict verdict = Verdict::unknown;
    std::vector<Dependency> dependencies;
    std::vector<InspectedService> services; ///< each id once
};

} // namespace keldo::inspect
