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

/// What became of a child process.
struct ChildResult {
    int waitStatus = 0;       ///< of waitpid(2)
    std::string output;       ///< what it wrote to standard output, at most the limit
    std::string errors;       ///< what it wrote to standard error, at most errorsLimit bytes
    bool isCut = false;       ///< it wrote more than the limit, and was ended for that
    bool hasTimedOut = false; ///< it was ended since its time was over
    Clock::duration duration{0};
};

/// A child process in a process group of its own. Its standard output and error are pipes to us,
/// its standard input is the null device. It gets SIGTERM when this process ends, and so do the
/// processes of its group when the object goes; whoever is left a second later is killed.
///
/// The caller blocks SIGCHLD and calls update() when it comes, and read() when there is something
/// to read.
class Child {
public:
    /// How long a child that was asked to end may take.
    static constexpr std::chrono::seconds grace{1};

    /// Bytes of standard error that are kept.
    static constexpr std::size_t errorsLimit = 16384;

    /// Executes a program; the first word is its path. Throws std::system_error if no process can
    /// be made. A program that cannot be executed shows as exit status 127.
    static Child execute(const std::vector<std::string>& words, std::size_t outputLimit);

    /// Calls `work` in the child, with the descriptor of its standard output. The child ends with
    /// exit status 0, or 1 if `work` throws.
    static Child call(const std::function<void(int)>& work, std::size_t outputLimit);

    Child(Child&& other) noexcept;
    Child& operator=(Child&&) = delete;
    ~Child();

    /// The descriptors to read from, -1 once there is nothing more.
    int outputDescriptor() const { return output_.get(); }
    int errorsDescriptor() const { return errors_.get(); }

    /// Reads what there is, without waiting.
    void read();

    /// Looks whether the child has ended. Returns true once it has been reaped.
    bool update();

    /// Asks the child to end, by SIGTERM, and by SIGKILL at the second call.
    void end() noexcept;
    /// The same, and result() tells that its time was over.
    void endAtLimit() noexcept;

    bool hasEnded() const { return pid_ == -1; }
    /// When the child got SIGTERM; only if isEnding().
    Clock::time_point endingSince() const { return endingSince_; }
    bool isEnding() const { return isEnding_; }

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
    ChildResult result_;
};

} // namespace keldo::inspect
