// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// Has the stock monit, /usr/bin/monit, test whether it can read a control file of this text, and
/// returns its complaints, each as "line LINE: what it says". None where it can read it, where the
/// text is empty and where no monit is installed. Nothing is left behind, also where an ending
/// signal (exec/ending_signals.h) ends the process, and nothing of the machine's own monit is
/// touched.
///
/// Throws std::runtime_error where a file for it cannot be made, and where monit cannot be run,
/// dies or fails for a reason that is not in the text: then nothing is known of the text.
std::vector<std::string> monitComplaints(const std::string& controlFile);

} // namespace keldo::lint
