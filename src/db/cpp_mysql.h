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
/// A connection takes any number of statements one after another, and what one sets in the session
/// the next one sees. Every failure is an mError and leaves the connection usable. One thread only.
namespace keldo::mysql {

/// A failure of this layer.
class mError : public std::exception {
public:
    explicit mError(std::string message);

    /// The message "Mysql error NUMBER: TEXT", a newline and `context`; where the handle reports
    /// no error, "Unknown error", a newline and `context`.
    mError(MYSQL* handle, const std::string& context);

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// A connection to the panel database, closed by the destructor, with the statement being built.
class Connection {
public:
    /// How the next inserted item goes into the statement. Every insertion and every execution set
    /// it back to `verbatim`; in any mode that is not listed here an item is dropped.
    enum InsertionMode { value = 0, name = 1, verbatim = 2 };

    /// Connects if `connectAtOnce`, as handle() does.
    explicit Connection(bool connectAtOnce);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// The client library's handle, owned by the connection. Connects first where that has not
    /// happened; if that fails, the reason is printed (kvrDbConnectOrReport) and mError says
    /// "connection failed".
    MYSQL* handle();

    /// `text` with every backquote doubled, for an identifier between backquotes. A `length` of 0
    /// means the text's own.
    static std::string escape_name(const char* text, std::size_t length = 0);

    /// `text` escaped for a string literal by mysql_real_escape_string. A `length` of 0 means the
    /// text's own. Throws std::bad_alloc where there is no memory for twice the length.
    std::string escape(const char* text, std::size_t length = 0);

    /// Sets the mode of the next insertion: `connection << Connection::value << text`.
    Connection& operator<<(InsertionMode mode);

    /// Insert into the statement: an integer in decimal, a double with six decimals and a decimal
    /// point in every locale.
    Connection& operator<<(const std::string& text);
    Connection& operator<<(const char* text);
    Connection& operator<<(int number);
    Connection& operator<<(double number);

    /// Sends the statement built so far, which may hold any bytes, and starts a new one.
    void execute();

    /// Prints on standard error what escape_name makes of four texts, a line each. A self-test for
    /// a person to read: it compares nothing.
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
    /// The value of a field; mError "No field named NAME in result set" where there is none.
    const Value& operator[](const std::string& fieldName) const;

private:
    friend class Result;
    std::map<std::string, Value> values_;
};

/// The result set of one statement.
class Result {
public:
    /// Executes the connection's statement and stores its result. mError also for a statement that
    /// produces no result set.
    explicit Result(Connection& connection);
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result();

    /// Reads the next row. Returns false where there is none, with `row` as it was. mError for two
    /// fields of the same name.
    bool fetch(Row& row);

private:
    MYSQL_RES* result_ = nullptr;
    MYSQL_FIELD* fields_ = nullptr; // owned by result_
};

} // namespace keldo::mysql
