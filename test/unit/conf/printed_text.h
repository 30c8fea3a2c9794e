// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace keldo::test {

/// Consecutive output on one standard stream.
struct PrintedText {
    std::string stream; ///< "stdout" or "stderr"
    std::string text;

    bool operator==(const PrintedText&) const = default;
};

std::ostream& operator<<(std::ostream& out, const PrintedText& printed);

/// Returns the output of `action` on the two standard streams that is flushed by its end, in the
/// order of flushing.
std::vector<PrintedText> printedBy(const std::function<void()>& action);

/// `text` on standard error and then on standard output.
std::vector<PrintedText> onBothStreams(const std::string& text);

/// Calls `action` with standard output redirected to standard error, so that a death test sees
/// both.
void withOneStream(const std::function<void()>& action);

/// Runs `body` and its expectations in a child process, in which process-wide state is as at the
/// program's start.
void inFreshProcess(const std::function<void()>& body);

} // namespace keldo::test
