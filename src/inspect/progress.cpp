// SPDX-License-Identifier: MIT

#include "inspect/progress.h"

#include <fcntl.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

constexpr const char* clearedLine = "\r\x1B[K";

} // namespace

Progress::Progress()
    : terminal_(isatty(STDERR_FILENO) == 1
                    ? fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                    : -1) {}

void Progress::printLine(const std::string& line) {
    clearLine();
    write(line + "\n");
}

void Progress::replaceLine(const std::string& line) {
    isLineShown_ = true;
    write(clearedLine + line);
}

void Progress::clearLine() {
    if (isLineShown_) {
        isLineShown_ = false;
        write(clearedLine);
    }
}

/// Ignores failures: then the line is lost.
void Progress::write(const std::string& text) {
    if (terminal_) {
        [[maybe_unused]] const ssize_t count = ::write(terminal_.get(), text.data(), text.size());
    }
}

} // namespace keldo::inspect
