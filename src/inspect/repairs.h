// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace keldo::inspect {

/// Carries out repairs as keldoctl does (repairActions), and writes to the system log that each
/// begins and how it ended: its id, who asked for it (uid, login uid, SUDO_USER), its outcome and
/// how many seconds it took. Calls
/// `tell` with a line for people before and after each. Returns whether all were carried out and
/// succeeded.
bool carryOutRepairs(const std::vector<std::string>& ids,
                     const std::function<void(const std::string&)>& tell);

} // namespace keldo::inspect
