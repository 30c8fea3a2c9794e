// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/event_loop.h"
#include "inspect/inspection.h"

#include <string>
#include <vector>

namespace keldo::inspect {

/// The answer of the database.
struct DatabaseAnswer {
    bool isConnected = false;
    bool isKnown = false; ///< if not connected: the database is certainly down
    std::string code;     ///< why it is not connected, such as "database_refused"
    std::string detail;   ///< the client library's message

    bool isLogRead = false;
    std::string logDetail;            ///< why the action log could not be read
    std::vector<std::string> started; ///< the services that the administrator last started
    std::vector<std::string> stopped; ///< the services that he last stopped

    Clock::duration duration{0}; ///< of connecting and reading the log
};

/// Starts a child that connects to the database and reads the action log. The child is ended after
/// `limit`, or at `deadline` if that is earlier. `answer` is complete after loop.run() and must
/// exist until then.
void askDatabase(EventLoop& loop, Clock::time_point deadline, DatabaseAnswer& answer,
                 Clock::duration limit = std::chrono::seconds(5));

} // namespace keldo::inspect
