// SPDX-License-Identifier: MIT

#include "support/fake_database.h"

#include <mysql.h>
#include <stdexcept>

namespace {

keldo::test::FakeDatabase* database = nullptr;

struct FakeConnection {
    int number;
    std::string statement;
    bool failed = false;
};

struct FakeResult {
    keldo::test::Answer answer;
    size_t next = 0;
    char* columns[1] = {};
    unsigned long lengths[1] = {};
    MYSQL_FIELD fields[1] = {};
};

// The client library's types are only names here, for objects of the test's own.
MYSQL* handleOf(FakeConnection* connection) {
    return reinterpret_cast<MYSQL*>(connection);
}
FakeConnection& connectionOf(MYSQL* handle) {
    return *reinterpret_cast<FakeConnection*>(handle);
}
FakeResult& resultOf(MYSQL_RES* result) {
    return *reinterpret_cast<FakeResult*>(result);
}

} // namespace

extern "C" {
MYSQL* __wrap__Z20kvrDbConnectOrReportv();
void __wrap_mysql_close(MYSQL* handle);
unsigned int __wrap_mysql_errno(MYSQL* handle);
int __wrap_mysql_real_query(MYSQL* handle, const char* text, unsigned long size);
MYSQL_RES* __wrap_mysql_store_result(MYSQL* handle);
void __wrap_mysql_free_result(MYSQL_RES* result);
unsigned int __wrap_mysql_num_fields(MYSQL_RES* result);
MYSQL_FIELD* __wrap_mysql_fetch_fields(MYSQL_RES* result);
MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES* result);
unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES* result);
}

MYSQL* __wrap__Z20kvrDbConnectOrReportv() {
    if (database == nullptr) {
        throw std::logic_error("this test has no database");
    }
    if (!database->reachable) {
        return nullptr;
    }
    database->open.insert(++database->connections);
    return handleOf(new FakeConnection{database->connections, "", false});
}

void __wrap_mysql_close(MYSQL* handle) {
    database->open.erase(connectionOf(handle).number);
    delete &connectionOf(handle);
}

unsigned int __wrap_mysql_errno(MYSQL* handle) {
    static_cast<void>(handle);
    return 0;
}

int __wrap_mysql_real_query(MYSQL* handle, const char* text, unsigned long size) {
    FakeConnection& connection = connectionOf(handle);
    connection.statement.assign(text, size);
    database->statements.emplace_back(connection.number, connection.statement);
    return database->answers[connection.statement].fails ? 1 : 0;
}

MYSQL_RES* __wrap_mysql_store_result(MYSQL* handle) {
    ++database->unreleasedResults;
    auto* const result = new FakeResult{database->answers[connectionOf(handle).statement]};
    result->fields[0].name = result->answer.field.data();
    return reinterpret_cast<MYSQL_RES*>(result);
}

void __wrap_mysql_free_result(MYSQL_RES* result) {
    if (result != nullptr) {
        --database->unreleasedResults;
        delete &resultOf(result);
    }
}

unsigned int __wrap_mysql_num_fields(MYSQL_RES* /*result*/) {
    return 1;
}

MYSQL_FIELD* __wrap_mysql_fetch_fields(MYSQL_RES* result) {
    return resultOf(result).fields;
}

MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES* result) {
    FakeResult& rows = resultOf(result);
    if (rows.next == rows.answer.rows.size()) {
        return nullptr;
    }
    std::optional<std::string>& value = rows.answer.rows[rows.next++];
    rows.columns[0] = value ? value->data() : nullptr;
    rows.lengths[0] = value ? value->size() : 0;
    return rows.columns;
}

unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES* result) {
    return resultOf(result).lengths;
}

namespace keldo::test {

const std::string rememberStart =
    "SELECT @start_action_id:=id FROM actions WHERE name='service_start' LIMIT 1;";
const std::string rememberStop =
    "SELECT @stop_action_id:=id FROM actions WHERE name='service_stop' LIMIT 1;";
const std::string lastStarted =
    "SELECT c.old_value name FROM log_actions l left join log_components c on l.id=c.action_id "
    "WHERE l.action_id=@start_action_id or l.action_id=@stop_action_id GROUP BY c.old_value HAVING "
    "substring(max(concat(lpad(l.id, 8, '0'), '.', l.action_id)), 10)=@start_action_id;";
const std::string lastStopped =
    "SELECT c.old_value name FROM log_actions l left join log_components c on l.id=c.action_id "
    "WHERE l.action_id=@start_action_id or l.action_id=@stop_action_id GROUP BY c.old_value HAVING "
    "substring(max(concat(lpad(l.id, 8, '0'), '.', l.action_id)), 10)=@stop_action_id;";

FakeDatabase::FakeDatabase() {
    database = this;
}

FakeDatabase::~FakeDatabase() {
    database = nullptr;
}

void setActionLog(FakeDatabase& base, const std::vector<std::optional<std::string>>& started,
                  const std::vector<std::optional<std::string>>& stopped) {
    base.answers[rememberStart].rows = {"1"};
    base.answers[rememberStop].rows = {"2"};
    base.answers[lastStarted].rows = started;
    base.answers[lastStopped].rows = stopped;
}

} // namespace keldo::test
