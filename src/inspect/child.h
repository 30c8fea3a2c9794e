// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"
#include "inspect/inspection.h"

#include <cstddef>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace keldo::inspect {

/// The result of a child process.
struct ChildResult {
    int waitStatus = 0;       ///< of waitpid(2)
    std::string output;       ///< what it wrote to standard output, at most the limit
    std::string errors;       ///< what it wrote to standard error, at most errorsLimit bytes
    bool isCut = false;       ///< it was ended because it wrote more than the limit
    bool hasTimedOut = false; ///< it was ended because its time was up
    Clock::duration duration{0};
};

/// A child process in a process group of its own. Its standard output and error are pipes to us,
/// its standard input is the null device. The child gets SIGTERM when this process ends. The
/// destructor sends SIGTERM to the group. It waits for the child, for at most a second, and then
/// kills all processes that are left in the group.
///
/// The caller blocks SIGCHLD. It calls update() when SIGCHLD arrives, and read() when a descriptor
/// is readable.
class Child {
public:
    /// The time that a child has between SIGTERM and SIGKILL.
    static constexpr std::chrono::seconds grace{1};

    /// Bytes of standard error that are kept.
    static constexpr std::size_t errorsLimit = 16384;

    /// Executes a program; the first word is its path. Throws std::system_error if no process can
    /// be made. A program that cannot be executed shows as exit status 127, with the reason as its
    /// errors.
    static Child execute(const std::vector<std::string>& words, std::size_t outputLimit);

    /// Calls `work` in the child, with the descriptor of its standard output. The child ends with
    /// exit status 0, or 1 if `work` throws.
    static Child call(const std::function<void(int)>& work, std::size_t outputLimit);

    Child(Child&& other) noexcept;
    Child& operator=(Child&&) = delete;
    ~Child();

    /// The descriptors to read from; -1 after the end of the output.
    int outputDescriptor() const { return output_.get(); }
    int errorsDescriptor() const { return errors_.get(); }

    /// Reads what is available, without waiting.
    void read();

    /// Reaps the child if it has ended, and returns whether it has. Do not call it after that.
    bool update();

    /// Sends SIGTERM to the group; SIGKILL from the second call on.
    void end() noexcept;
    /// Calls end() and sets hasTimedOut in the result.
    void endAtLimit() noexcept;

    bool hasEnded() const { return pid_ == -1; }
    /// When the child got SIGTERM; only if isEnding().
    Clock::time_point endingSince() const { return endingSince_; }
    bool isEnding() const { return isEnding_; }
    /// Whether the child got SIGKILL too.
    bool isKilled() const { return isKilled_; }

    ChildResult takeResult() { return std::move(result_); }

private:
    Child(pid_t pid, UniqueFd output, UniqueFd errors, std::size_t outputLimit);
    void waitUntilReaped();

    pid_t pid_;
    UniqueFd output_;
    UniqueFd errors_;
    std::size_t outputLimit_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point endingSince_;
    bool isEnding_ = false;
    bool isKilled_ = false;
    ChildResult result_;
};

} // namespace keldo::inspect
