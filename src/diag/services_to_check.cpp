// SPDX-License-Identifier: MIT

#include "diag/services_to_check.h"

#include "db/cpp_mysql.h"
#include "monitor/service_catalogue.h"

#include <string>

namespace keldo {

namespace {

using Services = std::vector<ServiceDefinition>;

constexpr const char* coreServices[] = {"mysql", "keldo", "smtp", "web", "dns", "mail"};

// The ids of the two actions stay in user variables of the session, so all four statements have to
// go over one connection.
constexpr const char* rememberStartAction =
    "SELECT @start_action_id:=id FROM actions WHERE name='service_start' LIMIT 1;";

constexpr const char* rememberStopAction =
    "SELECT @stop_action_id:=id FROM actions WHERE name='service_stop' LIMIT 1;";

// One group for each service; max() picks the key of its latest entry, the zero-padded log id, a
// dot and the action's id, and substring() cuts the action's id out of it again. Ids of more than
// eight digits are cut as well. To be completed with the variable that the action has to equal.
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
    } catch (...) {
        // The diagnosis goes on with what it has: the database is most needed when it is down.
    }
    std::erase_if(services, [](const ServiceDefinition& service) { return service.id.empty(); });
    return services;
}

} // namespace keldo
