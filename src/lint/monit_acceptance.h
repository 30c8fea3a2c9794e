// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// A complaint of monit about a control file.
struct MonitComplaint {
    long line = 0;    ///< in the control file, from 1; 0 if monit's words do not begin with one
    std::string text; ///< "line LINE: TEXT"

    bool operator==(const MonitComplaint&) const = default;
};

/// Lets the stock monit (exec/stock_monit.h) test whether it can read a control file with this
/// text. Returns its complaints. There are none if monit can read the text, if the text is empty,
/// or if monit is not installed. No file stays behind, even if an ending signal
/// (exec/ending_signals.h) ends the process, and the machine's own monit is not affected.
///
/// Throws std::runtime_error if a file for monit cannot be made, and if monit cannot be run, dies,
/// or fails for a reason outside the text. Whether monit can read the text is unknown then.
std::vector<MonitComplaint> monitComplaints(const std::string& controlFile);

} // namespace keldo::lint
