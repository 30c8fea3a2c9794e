// SPDX-License-Identifier: MIT

#include "diag/repair.h"

#include "exec/command_runner.h"
#include "monitor/service_catalogue.h"
#include "report/translation.h"

#include <string_view>
#include <utility>

namespace keldo {

namespace {

constexpr std::string_view restartPrefix = "restart-service:";

Solution unknownAction() {
    return {"", {"undefined", englishLanguage}, ""};
}

Solution restartSolution(const std::string& serviceId) {
    const ServiceDefinition service = ServiceCatalogue::instance().lookup(serviceId);
    if (service.id.empty()) {
        return unknownAction();
    }
    // Translators: <service_title> becomes the service's title, such as "Web Server";
    // keep it as it is.
    const Message message = translateWith("Restart the <service_title> service.",
                                          Substitution{"<service_title>", service.title.text});
    return {restartActionId(serviceId), message, service.stopAction + "\n" + service.startAction};
}

void carryOut(const Solution& solution) {
    CommandResult result = runCommand(solution.commands, true);
    problemModel.storeAction(solution);
    problemModel.setActionResult(solution.id, {result.status, std::move(result.output)});
}

} // namespace

Solution solutionForAction(const std::string& actionId) {
    if (!actionId.starts_with(restartPrefix)) {
        return unknownAction();
    }
    return restartSolution(actionId.substr(restartPrefix.size()));
}

std::string restartActionId(const std::string& serviceId) {
    return std::string(restartPrefix) + serviceId;
}

void repairActions(const std::vector<std::string>& actionIds) {
    for (const std::string& id : actionIds) {
        const Solution solution = solutionForAction(id);
        if (!solution.id.empty() && !solution.commands.empty()) {
            carryOut(solution);
        }
    }
}

} // namespace keldo
