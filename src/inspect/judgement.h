// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/answer.h"
#include "inspect/inspection.h"
#include "monitor/service_definition.h"

#include <string>

namespace keldo::inspect {

/// The tests that the control file of the service asks for, none of them made.
std::vector<Test> testsOf(const ServiceDefinition& definition);

/// A judgement of that state and reason, with the service's tests not made.
Judgement untested(const ServiceDefinition& definition, State state, Reason reason,
                   std::string detail = "");

/// Judges a service by the monitor's answer to a question of which it was a part; `took` is how
/// long the answer took. The service was checked, or is not in the answer.
///
/// It is up if the answer names it exactly once, with monitor 1 and status 0, and one of its tests
/// proves that something answers. It is down if a test was made and failed: for a status other than
/// 0, and for a process that is stopped, which monit does not notice. Everything else is unknown.
/// The status bits and the results of ports and sockets give the reason. They do not tell a port
/// that nobody listens on from one that gave a wrong answer, so the port is connected to for that.
Judgement judge(const ServiceDefinition& definition, const Answer& answer, Clock::duration took);

} // namespace keldo::inspect
