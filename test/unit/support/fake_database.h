// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace keldo::test {

/// Rows of one column; without a value, SQL NULL.
struct Answer {
    std::vector<std::optional<std::string>> rows;
    std::string field = "name";
    bool fails = false; ///< the statement is refused
};

/// A panel database of the test's own: whatever connects while it lives connects to it. At first
/// it is reachable and answers every statement with no rows. One at a time.
class FakeDatabase {
public:
    FakeDatabase();
    FakeDatabase(const FakeDatabase&) = delete;
    FakeDatabase& operator=(const FakeDatabase&) = delete;
    ~FakeDatabase();

    bool reachable = true;
    std::map<std::string, Answer> answers; ///< by the statement

    /// What has been asked, in that order: the number of the connection, from 1, and the statement.
    std::vector<std::pair<int, std::string>> statements;
    int connections = 0; ///< how many there have been
    std::set<int> open;  ///< the numbers of those that are open
    int unreleasedResults = 0;
};

/// The statements that read the action log.
extern const std::string rememberStart;
extern const std::string rememberStop;
extern const std::string lastStarted;
extern const std::string lastStopped;

/// The action log says that the administrator last started, and last stopped, those services.
void setActionLog(FakeDatabase& database, const std::vector<std::optional<std::string>>& started,
                  const std::vector<std::optional<std::string>>& stopped);

} // namespace keldo::test
