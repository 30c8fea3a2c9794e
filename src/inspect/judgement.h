// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/answer.h"
#include "inspect/inspection.h"
#include "monitor/service_definition.h"

#include <string>

namespace keldo::inspect {

/// A judgement with this state and reason. Its tests are those that the control file of the service
/// asks for, all in the state "untested".
Judgement untested(const ServiceDefinition& definition, State state, Reason why,
                   std::string detail = "");

/// Judges a service by the monitor's answer; `took` is how long the answer took. Do not call
/// it for a service that the answer names as not checked.
///
/// It is up if the answer names it exactly once, with monitor 1 and status 0, one of its tests
/// proves that something answers, and none has failed. It is down if a test failed: the status is
/// not 0, or the process is stopped, which monit does not notice. Otherwise its state is unknown.
/// The reason comes from the status bits and the results of ports and sockets. They do not tell
/// whether a failed port has a listener, so this function tries to connect to it.
Judgement judge(const ServiceDefinition& definition, const Answer& answer, Clock::duration took);

} // namespace keldo::inspect
