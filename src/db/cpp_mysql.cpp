// SPDX-License-Identifier: MIT

#include "db/cpp_mysql.h"

#include "conf/handles.h"
#include "conf/messages.h"
#include "db/panel_database.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace keldo::mysql {

namespace {

std::string errorMessage(MYSQL* handle, const std::string& context) {
    const unsigned int number = db_client()->error_number(handle);
    const heap_text text(number != 0
                             ? msg_asprintf("Mysql error %d: %s\n%s", static_cast<int>(number),
                                            db_client()->error_text(handle), context.c_str())
                             : msg_asprintf("Unknown error\n%s", context.c_str()));
    return text.get();
}

std::size_t lengthOf(const char* text, std::size_t length) {
    return length != 0 ? length : std::strlen(text);
}

/// A column's value. If the library gives no length, the text ends at its first zero byte.
Value toValue(const char* bytes, unsigned long length) {
    if (bytes == nullptr) {
        return {"", true};
    }
    return {std::string(bytes, lengthOf(bytes, length)), false};
}

void show(int line, const char* expression, const std::string& value) {
    std::fprintf(stderr, "static void keldo::mysql::Connection::test()(%s:%d)%s=%s\n",
                 __FILE_NAME__, line, expression, value.c_str());
    std::fflush(stderr);
}

} // namespace

mError::mError(std::string message) : message_(std::move(message)) {}

mError::mError(MYSQL* handle, const std::string& context)
    : message_(errorMessage(handle, context)) {}

Connection::Connection(bool connectAtOnce) {
    if (connectAtOnce) {
        handle();
    }
}

Connection::~Connection() {
    if (handle_ != nullptr) {
        db_client()->close(handle_);
    }
}

MYSQL* Connection::handle() {
    if (handle_ == nullptr) {
        handle_ = kvrDbConnectOrReport();
        if (handle_ == nullptr) {
            throw mError("connection failed");
        }
    }
    return handle_;
}

std::string Connection::escape_name(const char* text, std::size_t length) {
    std::string escaped;
    for (const char c : std::string_view(text, lengthOf(text, length))) {
        if (c == '`') {
            escaped += c;
        }
        escaped += c;
    }
    return escaped;
}

std::string Connection::escape(const char* text, std::size_t length) {
    const std::size_t size = lengthOf(text, length);
    const heap_text buffer(static_cast<char*>(std::malloc(2 * size + 1)));
    if (!buffer) {
        throw std::bad_alloc();
    }
    MYSQL* const db = handle();
    const unsigned long escaped = db_client()->real_escape_string(db, buffer.get(), text, size);
    if (escaped == static_cast<unsigned long>(-1)) { // the session's SQL mode forbids backslashes
        throw mError(db, " escaping value");
    }
    return {buffer.get(), escaped};
}

Connection& Connection::operator<<(InsertionMode mode) {
    mode_ = mode;
    return *this;
}

Connection& Connection::operator<<(const std::string& text) {
    switch (std::exchange(mode_, verbatim)) {
    case name:
        statement_ << escape_name(text.data(), text.size());
        break;
    case value:
        statement_ << escape(text.data(), text.size());
        break;
    case verbatim:
        statement_ << text;
        break;
    default:
        break;
    }
    return *this;
}

Connection& Connection::operator<<(const char* text) {
    return *this << std::string(text);
}

Connection& Connection::operator<<(int number) {
    return *this << std::to_string(number);
}

Connection& Connection::operator<<(double number) {
    constexpr int decimals = 6;
    std::array<char, 320> buffer; // room for a sign, 309 digits, the point and the decimals
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                            std::chars_format::fixed, decimals);
    return *this << std::string(buffer.data(), end);
}

void Connection::execute() {
    const std::string statement = statement_.str();
    statement_.str("");
    mode_ = verbatim;
    MYSQL* const db = handle();
    if (db_client()->real_query(db, statement.data(), statement.size()) != 0) {
        throw mError(db, " executing query");
    }
}

#define SHOW(expression) show(__LINE__, #expression, expression)

void Connection::test() {
    Connection conn(true);
    SHOW(conn.escape_name("aaaa"));
    SHOW(conn.escape_name("a`aaa"));
    SHOW(conn.escape_name("a``aaa"));
    SHOW(conn.escape_name("a``aa`a"));
}

#undef SHOW

const Value& Row::operator[](const std::string& fieldName) const {
    const auto found = values_.find(fieldName);
    if (found == values_.end()) {
        throw mError("No field named " + fieldName + " in result set");
    }
    return found->second;
}

Result::Result(Connection& connection) {
    connection.execute();
    result_ = db_client()->store_result(connection.handle());
    if (result_ == nullptr) {
        throw mError(connection.handle(), " fetching result");
    }
    fields_ = db_client()->fetch_fields(result_);
}

Result::~Result() {
    db_client()->free_result(result_);
}

bool Result::fetch(Row& row) {
    MYSQL_ROW columns = db_client()->fetch_row(result_);
    if (columns == nullptr) {
        return false;
    }
    const unsigned long* const lengths = db_client()->fetch_lengths(result_);
    const unsigned int count = db_client()->num_fields(result_);
    row.values_.clear();
    for (unsigned int i = 0; i < count; ++i) {
        const std::string fieldName = fields_[i].name;
        if (!row.values_.try_emplace(fieldName, toValue(columns[i], lengths[i])).second) {
            throw mError("duplicated field " + fieldName + " in query");
        }
    }
    return true;
}

} // namespace keldo::mysql
