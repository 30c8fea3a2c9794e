// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The result of an attempt to connect to the panel database.
struct DatabaseProbe {
    bool isConnected = false;
    unsigned int errorNumber = 0; ///< the client library's; 0 if it was not called
    std::string error;            ///< why there is no connection
};

/// Connects to the panel database as each check does, and closes the connection. Prints nothing.
DatabaseProbe probeDatabase();

} // namespace keldo
