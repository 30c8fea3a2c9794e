// SPDX-License-Identifier: MIT

#include "diag/database_probe.h"

#include "db/panel_database.h"

namespace keldo {

DatabaseProbe probeDatabase() {
    char error[db_error_size] = "";
    DatabaseProbe probe;
    probe.isConnected = db_probe(error, sizeof error, &probe.errorNumber) == 0;
    probe.error = error;
    return probe;
}

} // namespace keldo
