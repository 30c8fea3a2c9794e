// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The panel's own tool: "admin/sbin/noupgradecheck" below PRODUCT_ROOT_D.
std::string upgradeTool();

/// The tool's exit status while the panel is being upgraded.
inline constexpr int upgradeIsRunning = 1;

/// Runs the tool, and reports an upgrade if its exit status says so. Any other status, and a
/// missing tool, mean that no upgrade is running.
void checkUpgrade();

/// Adds the problem "upgrade" to the run's model.
void reportUpgrade();

/// Returns false if the run's model holds the problem "upgrade". Services are expected to be down
/// then, so the caller does not check them.
bool noUpgradeInProgress();

} // namespace keldo
