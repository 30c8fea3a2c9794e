// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Runs the panel's own tool, "admin/sbin/noupgradecheck" below PRODUCT_ROOT_D. If its exit status
/// is 1, the panel is being upgraded: adds the problem "upgrade" to the run's model. Any other
/// status, and a missing tool, mean that no upgrade is running.
void checkUpgrade();

/// Returns false if the run's model holds the problem "upgrade". Services are expected to be down
/// then, so the caller does not check them.
bool noUpgradeInProgress();

} // namespace keldo
