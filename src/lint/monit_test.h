// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// Has the stock monit, /usr/bin/monit, test whether it can read a control file of this text, and
/// returns its complaints, each as "line LINE: what it says". None where it can read it, where the
/// text is empty and where no monit is installed. Nothing is left behind, and nothing of the
/// machine's own monit is touched. Throws std::runtime_error where a file for it cannot be made.
std::vector<std::string> monitComplaints(const std::string& controlFile);

} // namespace keldo::lint
