// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <string>
#include <vector>

namespace keldo {

/// The action that an id names. The only kind there is: "restart-service:" and a service id, the
/// restart of that service, whose commands are the stop action, a newline and the start action of
/// its definition. For any other id, and for a service without a readable definition, the solution
/// has an empty id, the message "undefined" and no commands.
Solution solutionForAction(const std::string& actionId);

/// The id of the action that restarts a service.
std::string restartActionId(const std::string& serviceId);

/// Carries out the actions, one after the other in that order, and records each with its result in
/// the run's model; of an id given twice the second result stays. Ids that name no action are
/// skipped without a word. Passes on what the catalogue throws; the ids that follow are then not
/// run.
void repairActions(const std::vector<std::string>& actionIds);

} // namespace keldo
