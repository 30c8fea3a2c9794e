// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Asks the panel's own tool, "admin/sbin/noupgradecheck" below PRODUCT_ROOT_D, whether the panel
/// is being upgraded, and adds the problem "upgrade" to the run's model if so: if the tool's exit
/// status is exactly 1. A tool that is missing or fails otherwise means that no upgrade is running.
/// While the tool runs, the database's client library is loaded, since the checks that follow begin
/// with the database.
void checkUpgrade();

/// Whether the run's model holds no problem "upgrade". While it does, services are expected to be
/// down and are not to be checked.
bool noUpgradeInProgress();

} // namespace keldo
