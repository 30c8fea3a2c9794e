// SPDX-License-Identifier: MIT

#include "diag/action_log.h"

namespace keldo {

namespace {

// The first two statements set user variables of the session, so all four statements must use one
// connection.
constexpr const char* rememberStartAction =
    "SELECT @start_action_id:=id FROM actions WHERE name='service_start' LIMIT 1;";

constexpr const char* rememberStopAction =
    "SELECT @stop_action_id:=id FROM actions WHERE name='service_stop' LIMIT 1;";

// Each service is one group. The key of an entry is its log id, padded to eight digits, a dot and
// the id of its action. max() finds the latest key, and substring() takes the action from it. A
// longer log id is cut to eight digits. The caller appends the variable to compare the action with.
constexpr const char* servicesByLatestAction =
    "SELECT c.old_value name FROM log_actions l left join log_components c on l.id=c.action_id "
    "WHERE l.action_id=@start_action_id or l.action_id=@stop_action_id GROUP BY c.old_value "
    "HAVING substring(max(concat(lpad(l.id, 8, '0'), '.', l.action_id)), 10)=";

constexpr const char* serviceName = "name";

void run(const char* statement, mysql::Connection& connection) {
    connection << statement;
    const mysql::Result result(connection);
}

} // namespace

ActionLog::ActionLog() : connection_(true) {
    run(rememberStartAction, connection_);
    run(rememberStopAction, connection_);
}

std::vector<std::string> ActionLog::lastStarted() {
    return servicesWhoseLastActionIs("@start_action_id;");
}

std::vector<std::string> ActionLog::lastStopped() {
    return servicesWhoseLastActionIs("@stop_action_id;");
}

std::vector<std::string> ActionLog::servicesWhoseLastActionIs(const char* variable) {
    connection_ << servicesByLatestAction << variable;
    mysql::Result result(connection_);
    mysql::Row row;
    std::vector<std::string> services;
    while (result.fetch(row)) {
        services.push_back(row[serviceName].text);
    }
    return services;
}

} // namespace keldo
