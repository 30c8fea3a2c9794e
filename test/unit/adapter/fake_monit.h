// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace keldo::test {

/// How many allocations by `new` succeed before one fails; -1 for all, as in a fake monit.
extern int goodAllocations;

/// While it lives, a function of the test stands for /usr/bin/monit: the child calls it in place
/// of execve(2) and ends when it returns. One at a time; without one, monit is not installed.
class FakeMonit {
public:
    /// What execve(2) got.
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
/// `answers`, then waits to be killed. An empty answer hangs up at once.
void answerRequests(const FakeMonit::Call& call, const std::vector<std::string>& answers);

/// For a fake monit: waits to be killed.
void hang();

/// An HTTP answer with the status of one service as monit 5 prints it.
std::string statusAnswer(const std::string& name, int status, int monitor);

/// The private directories that this process has made and that still exist.
std::vector<std::string> directoriesLeft();

/// From now on no directory can be made, for that errno; 0 ends that.
void refuseDirectories(int error);

/// Whether this process has a child, ended or not.
bool hasChild();

} // namespace keldo::test
