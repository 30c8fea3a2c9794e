// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <mysql.h>
#include <optional>
#include <string>
#include <vector>

namespace keldo::test {

/// An error as a handle reports it; number 0 means none.
struct ClientError {
    unsigned int number = 0;
    std::string text;
};

using Column = std::optional<std::string>; ///< empty: SQL NULL

/// What comes of one statement.
struct Answer {
    bool isRejected = false; ///< the call that sends it fails
    ClientError error;       ///< what the handle reports after it
    bool hasResult = false;  ///< it produces a result set
    std::vector<std::string> fields;
    std::vector<std::vector<Column>> rows;
    bool knowsLengths = true; ///< otherwise the library gives 0 as the length of every column
};

Answer resultSet(std::vector<std::string> fields, std::vector<std::vector<Column>> rows);
Answer rejected(ClientError error);

/// Stands for the client library and the server behind it: the wrapped functions log their calls
/// here and answer what a test has put here. Objects are in real memory, so that a sanitizer sees
/// one that is used after its end.
struct FakeServer {
    bool initFails = false;
    bool connectFails = false;
    ClientError connectError; ///< reported after connecting, failed or not
    std::map<std::string, Answer> answers;
    bool escapeFails = false;
    bool mallocFails = false;

    std::map<int, unsigned int> timeLimits; ///< in seconds, by mysql_option, before connecting
    std::vector<std::string> calls;         ///< such as "init", "connect ...", "query ...", "close"
    int openHandles = 0;
    int openResults = 0;

    /// A server of today with a panel database that says `utf8` of its texts.
    static FakeServer ofToday(const Column& utf8 = "true");

    /// The statements among the calls.
    std::vector<std::string> statements() const;
};

extern FakeServer fakeServer;

} // namespace keldo::test
