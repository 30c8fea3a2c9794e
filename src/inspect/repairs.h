// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace keldo::inspect {

/// Carries out repairs as keldoctl does (repairActions). Before and after each repair, writes a
/// line to the system log and calls `tell` with a line for people. The lines in the log contain the
/// id and who asked for it (uid, login uid, SUDO_USER); the second one also the outcome and the
/// duration. Returns whether all repairs were carried out and succeeded.
bool carryOutRepairs(const std::vector<std::string>& ids,
                     const std::function<void(const std::string&)>& tell);

} // namespace keldo::inspect
