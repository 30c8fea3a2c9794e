// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <string>
#include <vector>

namespace keldo {

/// Returns the action with this id. There is one kind of action: "restart-service:SERVICE" restarts
/// a service. Its commands are the stop action, a newline and the start action of the definition.
/// For any other id, and for a service without a readable definition, the result has an empty id,
/// the message "undefined" and no commands.
Solution solutionForAction(const std::string& actionId);

/// Returns the id of the action that restarts a service.
std::string restartActionId(const std::string& serviceId);

/// Carries out the actions one after another, in the given order, and records each with its result
/// in the run's model. If an id is given twice, the second result replaces the first. Skips ids
/// that name no action, without a message. Passes on what the catalogue throws, and then does not
/// carry out the ids that follow.
void repairActions(const std::vector<std::string>& actionIds);

} // namespace keldo
