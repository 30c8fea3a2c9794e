// SPDX-License-Identifier: MIT

#include "fake_client_library.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace keldo::test {

FakeServer fakeServer;

Answer resultSet(std::vector<std::string> fields, std::vector<std::vector<Column>> rows) {
    Answer answer;
    answer.hasResult = true;
    answer.fields = std::move(fields);
    answer.rows = std::move(rows);
    return answer;
}

Answer rejected(ClientError error) {
    Answer answer;
    answer.isRejected = true;
    answer.error = std::move(error);
    return answer;
}

FakeServer FakeServer::ofToday(const Column& utf8) {
    FakeServer server;
    server.answers["SHOW VARIABLES LIKE 'version'"] =
        resultSet({"Variable_name", "Value"}, {{"version", "10.11.6-MariaDB"}});
    server.answers["SELECT val FROM misc WHERE param='mysql41_compatible'"] =
        resultSet({"val"}, {{utf8}});
    return server;
}

std::vector<std::string> FakeServer::statements() const {
    const std::string query = "query ";
    std::vector<std::string> statements;
    for (const std::string& call : calls) {
        if (call.starts_with(query)) {
            statements.push_back(call.substr(query.size()));
        }
    }
    return statements;
}

} // namespace keldo::test

using keldo::test::Answer;
using keldo::test::ClientError;
using keldo::test::Column;
using keldo::test::fakeServer;

namespace {

/// Set by every call that can fail, as in the real library.
ClientError lastError;
Answer lastAnswer;

/// What a MYSQL_RES* points to here.
struct FakeResult {
    Answer answer;
    std::size_t nextRow = 0;
    std::vector<MYSQL_FIELD> fields;
    std::vector<char*> columns;
    std::vector<unsigned long> lengths;
};

FakeResult* fake(MYSQL_RES* result) {
    return reinterpret_cast<FakeResult*>(result);
}

int send(const std::string& statement) {
    fakeServer.calls.push_back("query " + statement);
    lastAnswer = fakeServer.answers[statement];
    lastError = lastAnswer.error;
    return lastAnswer.isRejected ? 1 : 0;
}

std::string orNone(const char* text) {
    return text != nullptr ? text : "none";
}

} // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    return fakeServer.mallocFails ? nullptr : __real_malloc(size);
}

MYSQL* __wrap_mysql_init(MYSQL*) {
    fakeServer.calls.emplace_back("init");
    if (fakeServer.initFails) {
        return nullptr;
    }
    ++fakeServer.openHandles;
    return new MYSQL();
}

void __wrap_mysql_close(MYSQL* handle) {
    fakeServer.calls.emplace_back("close");
    --fakeServer.openHandles;
    delete handle;
}

int __wrap_mysql_options(MYSQL*, mysql_option option, const void* seconds) {
    fakeServer.timeLimits[option] = *static_cast<const unsigned int*>(seconds);
    return 0;
}

MYSQL* __wrap_mysql_real_connect(MYSQL* handle, const char* host, const char* user,
                                 const char* password, const char* database, unsigned int port,
                                 const char* socket, unsigned long flags) {
    fakeServer.calls.push_back("connect host=" + orNone(host) + " user=" + orNone(user) +
                               " password=" + orNone(password) + " database=" + orNone(database) +
                               " port=" + std::to_string(port) + " socket=" + orNone(socket) +
                               " flags=" + std::to_string(flags));
    lastError = fakeServer.connectError;
    return fakeServer.connectFails ? nullptr : handle;
}

unsigned int __wrap_mysql_errno(MYSQL* handle) {
    EXPECT_NE(handle, nullptr);
    return lastError.number;
}

const char* __wrap_mysql_error(MYSQL*) {
    return lastError.text.c_str();
}

int __wrap_mysql_query(MYSQL*, const char* statement) {
    return send(statement);
}

int __wrap_mysql_real_query(MYSQL*, const char* statement, unsigned long length) {
    return send({statement, length});
}

MYSQL_RES* __wrap_mysql_store_result(MYSQL*) {
    if (!lastAnswer.hasResult) {
        return nullptr;
    }
    auto result = std::make_unique<FakeResult>();
    result->answer = lastAnswer;
    for (std::string& name : result->answer.fields) {
        result->fields.emplace_back().name = name.data();
    }
    ++fakeServer.openResults;
    return reinterpret_cast<MYSQL_RES*>(result.release());
}

void __wrap_mysql_free_result(MYSQL_RES* result) {
    if (result != nullptr) {
        --fakeServer.openResults;
        delete fake(result);
    }
}

MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES* handle) {
    FakeResult* const result = fake(handle);
    if (result->nextRow == result->answer.rows.size()) {
        return nullptr;
    }
    result->columns.clear();
    result->lengths.clear();
    for (Column& column : result->answer.rows[result->nextRow++]) {
        result->columns.push_back(column ? column->data() : nullptr);
        result->lengths.push_back(column && result->answer.knowsLengths ? column->size() : 0);
    }
    return result->columns.data();
}

unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES* result) {
    return fake(result)->lengths.data();
}

unsigned int __wrap_mysql_num_fields(MYSQL_RES* result) {
    return static_cast<unsigned int>(fake(result)->fields.size());
}

MYSQL_FIELD* __wrap_mysql_fetch_fields(MYSQL_RES* result) {
    return fake(result)->fields.data();
}

/// As the library does it for quotes and backslashes.
unsigned long __wrap_mysql_real_escape_string(MYSQL*, char* to, const char* from,
                                              unsigned long length) {
    if (fakeServer.escapeFails) {
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

} // extern "C"
