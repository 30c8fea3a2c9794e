// SPDX-License-Identifier: MIT

#include "db/cpp_mysql.h"

#include "support/fake_database.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/texts.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

using mysql::mError;
using mysql::Row;
using mysql::Value;
using ColumnsOfRow = std::vector<Column>;

/// Makes the server's answer from a word of letters. "c" begins a column, named by the next text.
/// "v", "s" and "z" add the next text to the current row as a value with its length, with half of
/// its length, and with the length 0. "n" adds a NULL; any other letter ends the row. Missing
/// columns of a row are NULL.
Answer answerOf(Texts& texts) {
    Answer answer = resultSet({}, {{}});
    for (const char letter : texts.next()) {
        if (letter == 'c') {
            answer.fields.emplace_back(texts.next().c_str()); // a name ends at its first NUL
        } else if (letter == 'v' || letter == 's' || letter == 'z') {
            Column& column = answer.rows.back().emplace_back(texts.next());
            column.length = letter == 'v' ? column.length : letter == 's' ? column.length / 2 : 0;
        } else if (letter == 'n') {
            answer.rows.back().emplace_back(std::nullopt);
        } else {
            answer.rows.emplace_back();
        }
    }
    if (answer.fields.empty()) { // each result set has a column
        answer.fields.emplace_back();
    }
    for (ColumnsOfRow& row : answer.rows) {
        row.resize(answer.fields.size(), std::nullopt);
    }
    return answer;
}

// The model: the columns by name, read from the answer.

std::string textOf(const Column& column) {
    const std::string text = column.text.value_or("");
    return column.length == 0 ? text.c_str() : text.substr(0, column.length);
}

void requireValue(const Column& expected, const Value& actual) {
    require(!expected.text == actual.isNull, "NULL is NULL");
    requireEqual(textOf(expected), actual.text, "value");
}

/// Returns the first name that occurs a second time.
std::optional<std::string> repeatedName(const std::vector<std::string>& names) {
    std::set<std::string> seen;
    for (const std::string& name : names) {
        if (!seen.insert(name).second) {
            return name;
        }
    }
    return std::nullopt;
}

/// Returns the text of the mError that `act` throws, or nothing.
template <typename Act> std::string errorOf(Act act) {
    try {
        act();
        return "";
    } catch (const mError& error) {
        return error.what();
    }
}

void requireRow(const std::vector<std::string>& names, const ColumnsOfRow& expected,
                const Row& row) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        requireValue(expected[i], row[names[i]]);
        const std::string absent = names[i] + "?";
        if (std::ranges::find(names, absent) == names.end()) {
            requireEqual("No field named " + absent + " in result set",
                         errorOf([&] { static_cast<void>(row[absent]); }),
                         "the error names an absent field");
        }
    }
}

void requireRows(const Answer& answer, mysql::Result& rows) {
    const auto repeated = repeatedName(answer.fields);
    const std::string complaint = repeated ? "duplicated field " + *repeated + " in query" : "";
    Row row;
    for (const ColumnsOfRow& expected : answer.rows) {
        requireEqual(complaint, errorOf([&] { require(rows.fetch(row), "each row is read"); }),
                     "the error names a repeated field");
        if (!repeated) {
            requireRow(answer.fields, expected, row);
        }
    }
    require(!rows.fetch(row), "nothing follows the last row");
    if (!repeated) {
        requireRow(answer.fields, answer.rows.back(), row); // unchanged
    }
}

} // namespace

void tryInput(const std::string& input) {
    Texts texts(input);
    const Answer answer = answerOf(texts);
    FakeDatabase database;
    database.answers["SELECT"] = answer;
    {
        mysql::Connection connection(true);
        connection << "SELECT";
        mysql::Result rows(connection);
        requireRows(answer, rows);
    }
    require(database.openHandles == 0 && database.openResults == 0, "everything is released");
}

} // namespace keldo::test
