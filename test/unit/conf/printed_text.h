// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace keldo::test {

/// What was written on one standard stream at a stretch.
struct PrintedText {
    std::string stream; ///< "stdout" or "stderr"
    std::string text;

    bool operator==(const PrintedText&) const = default;
};

std::ostream& operator<<(std::ostream& out, const PrintedText& printed);

/// All that `action` writes on the two standard streams and has flushed by its end, in the order
/// in which it was flushed.
std::vector<PrintedText> printedBy(const std::function<void()>& action);

/// `text` on standard error and then on standard output.
std::vector<PrintedText> onBothStreams(const std::string& text);

/// Calls `action` with standard output led to standard error, so that an expectation about the
/// end of a process sees both.
void withOneStream(const std::function<void()>& action);

/// Runs `body`, with its expectations, in a child process: there, process-wide state is as at
/// the program's start.
void inFreshProcess(const std::function<void()>& body);

} // namespace keldo::test
