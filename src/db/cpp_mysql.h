// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <exception>
#include <map>
#include <mysql.h>
#include <sstream>
#include <string>

/// Queries on the panel database. Order of use: construct a Connection, insert the text of a
/// statement into it, construct a Result from it, which executes the statement, and fetch rows.
/// A connection takes any number of statements, one after another, in one session of the server.
/// Every failure is an mError and leaves the connection usable. For one thread only.
namespace keldo::mysql {

/// A failure of this layer.
class mError : public std::exception {
public:
    explicit mError(std::string message);

    /// The message is "Mysql error NUMBER: TEXT", or "Unknown error" if the handle reports no
    /// error; then a newline and `context`.
    mError(MYSQL* handle, const std::string& context);

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// A connection to the panel database, closed by the destructor, with the statement being built.
class Connection {
public:
    /// How the next item is inserted into the statement. Every insertion and every execution
    /// resets the mode to `verbatim`. In a mode that is not listed here, an item is dropped.
    enum InsertionMode { value = 0, name = 1, verbatim = 2 };

    /// If `connectAtOnce`, connects like handle().
    explicit Connection(bool connectAtOnce);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// The client library's handle, owned by the connection. Connects on the first call; a failure
    /// prints the reason (kvrDbConnectOrReport) and throws mError with "connection failed".
    MYSQL* handle();

    /// Returns `text` with every backquote doubled, for an identifier between backquotes. A
    /// `length` of 0 means the length of the string.
    static std::string escape_name(const char* text, std::size_t length = 0);

    /// Returns `text` escaped for a string literal by mysql_real_escape_string. A `length` of 0
    /// means the length of the string. Throws std::bad_alloc if memory runs out, mError if the
    /// library cannot escape in this session.
    std::string escape(const char* text, std::size_t length = 0);

    /// Sets the mode of the next insertion: `connection << Connection::value << text`.
    Connection& operator<<(InsertionMode mode);

    /// Inserts an item into the statement. An integer is written in decimal, a double with six
    /// decimals and a point, in every locale.
    Connection& operator<<(const std::string& text);
    Connection& operator<<(const char* text);
    Connection& operator<<(int number);
    Connection& operator<<(double number);

    /// Sends the statement, which may contain any bytes, and starts a new one.
    void execute();

    /// Prints four results of escape_name on standard error, one per line. A person reads them:
    /// this self-test compares nothing.
    static void test();

private:
    MYSQL* handle_ = nullptr;
    std::ostringstream statement_;
    int mode_ = verbatim;
};

/// A column of a row.
struct Value {
    std::string text; ///< empty for SQL NULL
    bool isNull = false;
};

/// A row: values by the names of their fields.
class Row {
public:
    /// Returns the value of a field. Throws mError "No field named NAME in result set" if the row
    /// has no such field.
    const Value& operator[](const std::string& fieldName) const;

private:
    friend class Result;
    std::map<std::string, Value> values_;
};

/// The result set of one statement.
class Result {
public:
    /// Executes the connection's statement and stores its result. Throws mError if the statement
    /// fails or produces no result set.
    explicit Result(Connection& connection);
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result();

    /// Reads the next row. Returns false and leaves `row` unchanged if there is none. Throws mError
    /// if two fields have the same name.
    bool fetch(Row& row);

private:
    MYSQL_RES* result_ = nullptr;
    MYSQL_FIELD* fields_ = nullptr; // owned by result_
};

} // namespace keldo::mysql
