// SPDX-License-Identifier: MIT

#pragma once

#include "db/cpp_mysql.h"

#include <string>
#include <vector>

namespace keldo {

/// The panel database's log of what the administrator did (tables actions, log_actions,
/// log_components), read over a connection of its own. Every failure is an mError.
class ActionLog {
public:
    /// Connects.
    ActionLog();

    /// The ids of the services that the administrator last started, and last stopped, through the
    /// panel, in the order of the database. An id is empty for log entries without a name.
    std::vector<std::string> lastStarted();
    std::vector<std::string> lastStopped();

private:
    std::vector<std::string> servicesWhoseLastActionIs(const char* variable);

    mysql::Connection connection_;
};

} // namespace keldo
