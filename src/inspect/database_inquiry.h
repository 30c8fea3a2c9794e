// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/event_loop.h"
#include "inspect/inspection.h"

#include <string>
#include <vector>

namespace keldo::inspect {

/// What the database has told.
struct DatabaseAnswer {
    bool isConnected = false;
    bool isKnown = false; ///< whether the server was asked, so that it is down if not connected
    std::string code;     ///< of the reason why not, such as "database_refused"
    std::string detail;   ///< in the client library's words

    bool isLogRead = false;
    std::string logDetail;            ///< why the action log could not be read
    std::vector<std::string> started; ///< the services that the administrator last started
    std::vector<std::string> stopped; ///< and those that he last stopped

    Clock::duration duration{0}; ///< until it was connected, or given up
};

/// Asks the database in a child, which is ended if it takes longer than five seconds. The answer is
/// complete when `loop` has run, and outlives that.
void askDatabase(EventLoop& loop, Clock::time_point deadline, DatabaseAnswer& answer);

} // namespace keldo::inspect
