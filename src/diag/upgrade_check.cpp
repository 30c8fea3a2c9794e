// SPDX-License-Identifier: MIT

#include "diag/upgrade_check.h"

#include "conf/config_value.h"
#include "exec/command_runner.h"
#include "report/problem_model.h"
#include "report/translation.h"

namespace keldo {

namespace {

constexpr const char* upgradeProblem = "upgrade";

} // namespace

std::string upgradeTool() {
    return configValue("PRODUCT_ROOT_D") + "/admin/sbin/noupgradecheck";
}

void checkUpgrade() {
    if (runCommand(upgradeTool(), true).status == upgradeIsRunning) {
        reportUpgrade();
    }
}

void reportUpgrade() {
    // Translators: the only problem reported while the panel itself is being upgraded.
    const Message message = translate("Upgrade is in progress. Please wait.");
    problemModel.addProblem({upgradeProblem, message, Severity::minor});
}

bool noUpgradeInProgress() {
    return problemModel.findProblem(upgradeProblem) == nullptr;
}

} // namespace keldo
