// SPDX-License-Identifier: MIT

#include "support/fake_database.h"

#include "db/panel_database.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace keldo::test {

namespace {

FakeDatabase* database = nullptr;

struct Handle {
    ClientError error; // set by every call that can fail
    Answer answer;
};

struct Result {
    Answer answer;
    std::size_t nextRow = 0;
    std::vector<MYSQL_FIELD> fields;
    std::vector<std::unique_ptr<char[]>> bytes;
    std::vector<char*> columns;
    std::vector<unsigned long> lengths;
};

Handle* of(MYSQL* handle) {
    return reinterpret_cast<Handle*>(handle);
}

Result* of(MYSQL_RES* result) {
    return reinterpret_cast<Result*>(result);
}

MYSQL* newHandle(const char* call) {
    database->calls.emplace_back(call);
    if (!database->hasMemory) {
        return nullptr;
    }
    ++database->openHandles;
    return reinterpret_cast<MYSQL*>(new Handle{database->connectError, {}});
}

int send(MYSQL* handle, const std::string& statement) {
    database->calls.push_back("query " + statement);
    of(handle)->answer = database->answers[statement];
    of(handle)->error = of(handle)->answer.error;
    return of(handle)->answer.isRejected ? 1 : 0;
}

std::string orNone(const char* text) {
    return text != nullptr ? text : "none";
}

// The functions of the library.

MYSQL* init(MYSQL* /*existing*/) {
    return newHandle("init");
}

void close(MYSQL* handle) {
    database->calls.emplace_back("close");
    --database->openHandles;
    delete of(handle);
}

int options(MYSQL* /*handle*/, mysql_option option, const void* value) {
    switch (option) {
    case MYSQL_OPT_CONNECT_TIMEOUT:
    case MYSQL_OPT_READ_TIMEOUT:
    case MYSQL_OPT_WRITE_TIMEOUT:
    case MYSQL_OPT_LOCAL_INFILE:
        database->options[option] = std::to_string(*static_cast<const unsigned int*>(value));
        break;
    default:
        database->options[option] = static_cast<const char*>(value);
        break;
    }
    return 0;
}

MYSQL* realConnect(MYSQL* handle, const char* host, const char* user, const char* password,
                   const char* name, unsigned int port, const char* socket, unsigned long flags) {
    database->calls.push_back("connect host=" + orNone(host) + " user=" + orNone(user) +
                              " password=" + orNone(password) + " database=" + orNone(name) +
                              " port=" + std::to_string(port) + " socket=" + orNone(socket) +
                              " flags=" + std::to_string(flags));
    return database->reachable ? handle : nullptr;
}

unsigned int errorNumber(MYSQL* handle) {
    return of(handle)->error.number;
}

const char* errorText(MYSQL* handle) {
    return of(handle)->error.text.c_str();
}

int query(MYSQL* handle, const char* statement) {
    return send(handle, statement);
}

int realQuery(MYSQL* handle, const char* statement, unsigned long length) {
    return send(handle, {statement, length});
}

MYSQL_RES* storeResult(MYSQL* handle) {
    if (!of(handle)->answer.hasResult) {
        return nullptr;
    }
    auto result = std::make_unique<Result>();
    result->answer = of(handle)->answer;
    for (std::string& name : result->answer.fields) {
        result->fields.emplace_back().name = name.data();
    }
    ++database->openResults;
    return reinterpret_cast<MYSQL_RES*>(result.release());
}

void freeResult(MYSQL_RES* result) {
    if (result != nullptr) {
        --database->openResults;
        delete of(result);
    }
}

void append(Result& result, const Column& column) {
    std::unique_ptr<char[]>& bytes = result.bytes.emplace_back();
    if (column.text) {
        bytes = std::make_unique<char[]>(column.text->size() + 1);
        std::ranges::copy(*column.text, bytes.get());
    }
    result.columns.push_back(bytes.get());
    result.lengths.push_back(column.length);
}

MYSQL_ROW fetchRow(MYSQL_RES* handle) {
    Result& result = *of(handle);
    if (result.nextRow == result.answer.rows.size()) {
        return nullptr;
    }
    result.bytes.clear();
    result.columns.clear();
    result.lengths.clear();
    for (const Column& column : result.answer.rows[result.nextRow++]) {
        append(result, column);
    }
    return result.columns.data();
}

unsigned long* fetchLengths(MYSQL_RES* result) {
    return of(result)->lengths.data();
}

unsigned int numFields(MYSQL_RES* result) {
    return static_cast<unsigned int>(of(result)->fields.size());
}

MYSQL_FIELD* fetchFields(MYSQL_RES* result) {
    return of(result)->fields.data();
}

/// Escapes quotes and backslashes as the library does.
unsigned long realEscapeString(MYSQL* /*handle*/, char* to, const char* from,
                               unsigned long length) {
    if (!database->canEscape) {
        return static_cast<unsigned long>(-1);
    }
    char* end = to;
    for (unsigned long i = 0; i < length; ++i) {
        if (from[i] == '\'' || from[i] == '\\') {
            *end++ = '\\';
        }
        *end++ = from[i];
    }
    *end = '\0';
    return static_cast<unsigned long>(end - to);
}

const client_library functions = {
    .close = close,
    .error_number = errorNumber,
    .error_text = errorText,
    .fetch_fields = fetchFields,
    .fetch_lengths = fetchLengths,
    .fetch_row = fetchRow,
    .free_result = freeResult,
    .init = init,
    .num_fields = numFields,
    .options = options,
    .query = query,
    .real_connect = realConnect,
    .real_escape_string = realEscapeString,
    .real_query = realQuery,
    .store_result = storeResult,
};

} // namespace

extern "C" MYSQL* __wrap_kvrDbConnectOrReport();
MYSQL* __wrap_kvrDbConnectOrReport() {
    if (database == nullptr) {
        throw std::logic_error("this test has no database");
    }
    return database->reachable ? newHandle("connect") : nullptr;
}

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

Answer resultSet(std::vector<std::string> fields, std::vector<std::vector<Column>> rows) {
    return {false, {}, true, std::move(fields), std::move(rows)};
}

Answer rejected(ClientError error) {
    return {true, std::move(error), false, {}, {}};
}

FakeDatabase::FakeDatabase() {
    database = this;
    db_use_client(&functions);
    reset();
}

FakeDatabase::~FakeDatabase() {
    db_use_client(nullptr);
    database = nullptr;
}

void FakeDatabase::reset(const Column& utf8) {
    answers.clear();
    calls.clear();
    answers["SHOW VARIABLES LIKE 'version'"] =
        resultSet({"Variable_name", "Value"}, {{"version", "10.11.6-MariaDB"}});
    answers["SELECT val FROM misc WHERE param='mysql41_compatible'"] = resultSet({"val"}, {{utf8}});
    setActionLog(*this, {}, {});
}

std::vector<std::string> FakeDatabase::statements() const {
    const std::string query = "query ";
    std::vector<std::string> statements;
    for (const std::string& call : calls) {
        if (call.starts_with(query)) {
            statements.push_back(call.substr(query.size()));
        }
    }
    return statements;
}

void setActionLog(FakeDatabase& base, const std::vector<Column>& started,
                  const std::vector<Column>& stopped) {
    const auto names = [](const std::vector<Column>& services) {
        Answer answer = resultSet({"name"}, {});
        for (const Column& service : services) {
            answer.rows.push_back({service});
        }
        return answer;
    };
    base.answers[rememberStart] = resultSet({"@start_action_id:=id"}, {{"1"}});
    base.answers[rememberStop] = resultSet({"@stop_action_id:=id"}, {{"2"}});
    base.answers[lastStarted] = names(started);
    base.answers[lastStopped] = names(stopped);
}

} // namespace keldo::test
