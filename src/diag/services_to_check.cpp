// SPDX-License-Identifier: MIT

#include "diag/services_to_check.h"

#include "db/cpp_mysql.h"
#include "monitor/service_catalogue.h"

#include <string>

namespace keldo {

namespace {

using Services = std::vector<ServiceDefinition>;

constexpr const char* coreServices[] = {"mysql", "keldo", "smtp", "web", "dns", "mail"};

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

ServiceDefinition lookup(const std::string& id) {
    return ServiceCatalogue::instance().lookup(id);
}

void run(const char* statement, mysql::Connection& connection) {
    connection << statement;
    const mysql::Result result(connection);
}

void appendStarted(Services& services, mysql::Connection& connection) {
    connection << servicesByLatestAction << "@start_action_id;";
    mysql::Result result(connection);
    mysql::Row row;
    while (result.fetch(row)) {
        services.push_back(lookup(row[serviceName].text));
    }
}

void removeStopped(Services& services, mysql::Connection& connection) {
    connection << servicesByLatestAction << "@stop_action_id;";
    mysql::Result result(connection);
    mysql::Row row;
    while (result.fetch(row)) {
        std::erase_if(services, [&row](const ServiceDefinition& service) {
            return service.id == row[serviceName].text;
        });
    }
}

void applyActionLog(Services& services) {
    mysql::Connection connection(true);
    run(rememberStartAction, connection);
    run(rememberStopAction, connection);
    appendStarted(services, connection);
    removeStopped(services, connection);
}

} // namespace

std::vector<ServiceDefinition> servicesToCheck() {
    Services services;
    for (const char* const id : coreServices) {
        services.push_back(lookup(id));
    }
    try {
        applyActionLog(services);
    } catch (...) { // A failed database must not end the diagnosis: keep the list made so far.
    }
    std::erase_if(services, [](const ServiceDefinition& service) { return service.id.empty(); });
    return services;
}

} // namespace keldo
