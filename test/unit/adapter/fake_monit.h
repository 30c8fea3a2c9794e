// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace keldo::test {

/// The number of allocations by `new` that succeed before one fails; -1 if none fails. A fake monit
/// always has -1.
extern int goodAllocations;

/// While it lives, a function of the test replaces /usr/bin/monit: the child calls it instead of
/// execve(2) and ends when it returns. Use one at a time. Without one, monit is not installed.
class FakeMonit {
public:
    /// The arguments of execve(2).
    struct Call {
        std::vector<std::string> arguments;
        std::vector<std::string> environment;
        /// The path of a file in the private directory.
        std::string file(const std::string& name) const;
    };
    explicit FakeMonit(std::function<void(const Call&)> program);
    FakeMonit(const FakeMonit&) = delete;
    FakeMonit& operator=(const FakeMonit&) = delete;
    ~FakeMonit();
};

/// For a fake monit: answers one connection after another on its socket, each with the next of
/// `answers`, then makes the file "answered" and waits to be killed. An empty answer hangs up at
/// once.
void answerRequests(const FakeMonit::Call& call, const std::vector<std::string>& answers);

/// For a fake monit: waits to be killed.
void hang();

/// An HTTP answer with the status of one service as monit 5 prints it.
std::string statusAnswer(const std::string& name, int status, int monitor);

/// The private directories that this process has made and that still exist.
std::vector<std::string> directoriesLeft();

/// Makes mkdtemp(3) fail with this errno from now on; 0 stops that.
void refuseDirectories(int error);

/// Whether this process has a child, ended or not.
bool hasChild();

} // namespace keldo::test
