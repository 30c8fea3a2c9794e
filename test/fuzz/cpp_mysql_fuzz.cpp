// SPDX-License-Identifier: MIT

#include "db/cpp_mysql.h"

#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/texts.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace {

/// A column of a row as the client library has it.
struct Column {
    std::unique_ptr<char[]> bytes; // null for SQL NULL; else of exactly that size, for a sanitizer
    unsigned long length = 0;
};

using ColumnsOfRow = std::vector<Column>;

/// What the server has answered, and how far it was read.
struct Answer {
    std::vector<std::string> names;
    std::vector<ColumnsOfRow> rows;

    std::size_t nextRow = 0;
    std::vector<MYSQL_FIELD> fields;
    std::vector<char*> columns;
    std::vector<unsigned long> lengths;
    int openHandles = 0;
    int openResults = 0;
};

Answer answer;

// What stands for the client library's objects, whose types are only names here.
int handle;
int result;

} // namespace

// The first one is kvrDbConnectOrReport() as the linker knows it.
extern "C" {
MYSQL* __wrap__Z20kvrDbConnectOrReportv();
void __wrap_mysql_close(MYSQL* closed);
int __wrap_mysql_real_query(MYSQL* asked, const char* text, unsigned long size);
MYSQL_RES* __wrap_mysql_store_result(MYSQL* asked);
void __wrap_mysql_free_result(MYSQL_RES* freed);
unsigned int __wrap_mysql_num_fields(MYSQL_RES* asked);
MYSQL_FIELD* __wrap_mysql_fetch_fields(MYSQL_RES* asked);
MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES* asked);
unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES* asked);
}

MYSQL* __wrap__Z20kvrDbConnectOrReportv() {
    ++answer.openHandles;
    return reinterpret_cast<MYSQL*>(&handle);
}

void __wrap_mysql_close(MYSQL* /*closed*/) {
    --answer.openHandles;
}

int __wrap_mysql_real_query(MYSQL* /*asked*/, const char* /*text*/, unsigned long /*size*/) {
    return 0;
}

MYSQL_RES* __wrap_mysql_store_result(MYSQL* /*asked*/) {
    for (std::string& name : answer.names) {
        answer.fields.emplace_back().name = name.data();
    }
    ++answer.openResults;
    return reinterpret_cast<MYSQL_RES*>(&result);
}

void __wrap_mysql_free_result(MYSQL_RES* /*freed*/) {
    --answer.openResults;
}

unsigned int __wrap_mysql_num_fields(MYSQL_RES* /*asked*/) {
    return static_cast<unsigned int>(answer.fields.size());
}

MYSQL_FIELD* __wrap_mysql_fetch_fields(MYSQL_RES* /*asked*/) {
    return answer.fields.data();
}

MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES* /*asked*/) {
    if (answer.nextRow == answer.rows.size()) {
        return nullptr;
    }
    answer.columns.clear();
    answer.lengths.clear();
    for (const Column& column : answer.rows[answer.nextRow++]) {
        answer.columns.push_back(column.bytes.get());
        answer.lengths.push_back(column.length);
    }
    return answer.columns.data();
}

unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES* /*asked*/) {
    return answer.lengths.data();
}

namespace keldo::test {

namespace {

using mysql::mError;
using mysql::Row;
using mysql::Value;

/// A column whose bytes end in a zero byte, as the library's do.
Column columnOf(const std::string& text, unsigned long length) {
    Column column = {std::make_unique<char[]>(text.size() + 1), length};
    text.copy(column.bytes.get(), text.size());
    return column;
}

/// The server's answer by a word of letters: "c" begins a column, named by the next text; "v", "s"
/// and "z" are values of the current row, the next text with its length, with half of it, and with
/// none; "n" is a NULL; any other letter ends the row. Columns that a row lacks are NULLs.
Answer answerOf(Texts& texts) {
    Answer made;
    std::vector<ColumnsOfRow> rows(1);
    for (const char letter : texts.next()) {
        if (letter == 'c') {
            made.names.emplace_back(texts.next().c_str()); // a name is a string of C
        } else if (letter == 'v' || letter == 's' || letter == 'z') {
            const std::string text = texts.next();
            const std::size_t length = letter == 'v' ? text.size() : text.size() / 2;
            rows.back().push_back(columnOf(text, letter == 'z' ? 0 : length));
        } else if (letter == 'n') {
            rows.back().emplace_back();
        } else {
            rows.emplace_back();
        }
    }
    if (made.names.empty()) { // there is no such result set
        made.names.emplace_back();
    }
    for (ColumnsOfRow& row : rows) {
        row.resize(made.names.size());
    }
    made.rows = std::move(rows);
    return made;
}

// The model: the columns by name, looked at from the answer.

std::string textOf(const Column& column) {
    return column.length == 0 ? std::string(column.bytes.get())
                              : std::string(column.bytes.get(), column.length);
}

void requireValue(const Column& expected, const Value& actual) {
    require((expected.bytes == nullptr) == actual.isNull, "NULL is NULL");
    requireEqual(expected.bytes == nullptr ? "" : textOf(expected), actual.text, "value");
}

/// The first name that was there before.
std::optional<std::string> repeatedName(const std::vector<std::string>& names) {
    std::set<std::string> seen;
    for (const std::string& name : names) {
        if (!seen.insert(name).second) {
            return name;
        }
    }
    return std::nullopt;
}

// What is tried.

std::string errorOf(const Row& row, const std::string& name) {
    try {
        static_cast<void>(row[name]);
        return "";
    } catch (const mError& error) {
        return error.what();
    }
}

std::string errorOf(mysql::Result& rows, Row& row) {
    try {
        require(rows.fetch(row), "each row is read");
        return "";
    } catch (const mError& error) {
        return error.what();
    }
}

void requireRow(const ColumnsOfRow& expected, const Row& row) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        requireValue(expected[i], row[answer.names[i]]);
        const std::string absent = answer.names[i] + "?";
        if (std::ranges::find(answer.names, absent) == answer.names.end()) {
            requireEqual("No field named " + absent + " in result set", errorOf(row, absent),
                         "an absent field is named");
        }
    }
}

void requireRows(mysql::Result& rows) {
    const auto repeated = repeatedName(answer.names);
    const std::string complaint = repeated ? "duplicated field " + *repeated + " in query" : "";
    Row row;
    for (const ColumnsOfRow& expected : answer.rows) {
        requireEqual(complaint, errorOf(rows, row), "a repeated field is named");
        if (!repeated) {
            requireRow(expected, row);
        }
    }
    require(!rows.fetch(row), "after the last row there is none");
    if (!repeated) {
        requireRow(answer.rows.back(), row); // as it was
    }
}

} // namespace

void tryInput(const std::string& input) {
    Texts texts(input);
    answer = answerOf(texts);
    {
        mysql::Connection connection(true);
        connection << "SELECT";
        mysql::Result rows(connection);
        requireRows(rows);
    }
    require(answer.openHandles == 0 && answer.openResults == 0, "all is released");
}

} // namespace keldo::test
