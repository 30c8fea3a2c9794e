// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <mysql.h>
#include <optional>
#include <string>
#include <vector>

namespace keldo::test {

/// An error that a handle reports; number 0 means none.
struct ClientError {
    unsigned int number = 0;
    std::string text;
};

/// One value of a row.
struct Column {
    Column(std::nullopt_t) {}
    Column(std::string value) : text(std::move(value)), length(text->size()) {}
    Column(const char* value) : Column(std::string(value)) {}

    std::optional<std::string> text; ///< nothing: SQL NULL
    unsigned long length = 0;        ///< the length that the library gives
};

/// The answer to one statement.
struct Answer {
    bool isRejected = false; ///< sending the statement fails
    ClientError error;       ///< what the handle reports afterwards
    bool hasResult = false;  ///< the statement produces a result set
    std::vector<std::string> fields;
    std::vector<std::vector<Column>> rows;
};

Answer resultSet(std::vector<std::string> fields, std::vector<std::vector<Column>> rows);
Answer rejected(ClientError error);

/// Replaces the client library and the panel's database behind it while the object lives. Use one
/// at a time. At first it is reachable, stores its texts in UTF-8 and has an empty action log. It
/// logs the calls and gives the answers that the test sets. Handles and results are heap objects,
/// and each column is a heap block of its own size, so that a sanitizer sees misuse.
///
/// If the linker wraps kvrDbConnectOrReport in a test program, connections skip the statements that
/// prepare them.
class FakeDatabase {
public:
    FakeDatabase();
    FakeDatabase(const FakeDatabase&) = delete;
    FakeDatabase& operator=(const FakeDatabase&) = delete;
    ~FakeDatabase();

    /// Restores the initial answers. `utf8` is the panel's value of "mysql41_compatible".
    void reset(const Column& utf8 = "true");

    /// Returns the statements among the calls.
    std::vector<std::string> statements() const;

    bool hasMemory = true;    ///< otherwise no handle can be made
    bool reachable = true;    ///< otherwise connecting fails
    ClientError connectError; ///< reported after connecting, failed or not
    bool canEscape = true;
    std::map<std::string, Answer> answers; ///< by statement; by default no result set

    std::map<int, std::string> options; ///< values by mysql_option, numbers in decimal
    std::vector<std::string> calls;     ///< such as "init", "connect ...", "query ...", "close"
    int openHandles = 0;
    int openResults = 0;
};

/// The statements that read the action log.
extern const std::string rememberStart;
extern const std::string rememberStop;
extern const std::string lastStarted;
extern const std::string lastStopped;

/// Sets the action log: the services that the administrator last started, and last stopped.
void setActionLog(FakeDatabase& database, const std::vector<Column>& started,
                  const std::vector<Column>& stopped);

} // namespace keldo::test
