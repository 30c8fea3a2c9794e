// SPDX-License-Identifier: MIT

#include "printed_text.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace keldo::test {

namespace {

struct Recorder {
    std::string stream;
    std::vector<PrintedText>* printed;
};

ssize_t record(void* cookie, const char* text, size_t size) {
    const auto* const recorder = static_cast<const Recorder*>(cookie);
    std::vector<PrintedText>& printed = *recorder->printed;
    if (printed.empty() || printed.back().stream != recorder->stream) {
        printed.push_back({recorder->stream, ""});
    }
    printed.back().text.append(text, size);
    return static_cast<ssize_t>(size);
}

/// Opens a fully buffered stream, so that only flushed text reaches the recorder.
FILE* openRecorder(Recorder* recorder) {
    const cookie_io_functions_t functions = {
        .read = nullptr, .write = record, .seek = nullptr, .close = nullptr};
    return fopencookie(recorder, "w", functions);
}

} // namespace

std::ostream& operator<<(std::ostream& out, const PrintedText& printed) {
    return out << printed.stream << ": \"" << printed.text << '"';
}

std::vector<PrintedText> printedBy(const std::function<void()>& action) {
    std::vector<PrintedText> printed;
    Recorder outRecorder = {"stdout", &printed};
    Recorder errRecorder = {"stderr", &printed};
    FILE* const realOut = std::exchange(stdout, openRecorder(&outRecorder));
    FILE* const realErr = std::exchange(stderr, openRecorder(&errRecorder));
    action();
    const std::vector<PrintedText> flushed = printed;
    fclose(std::exchange(stdout, realOut));
    fclose(std::exchange(stderr, realErr));
    return flushed;
}

std::vector<PrintedText> onBothStreams(const std::string& text) {
    return {{"stderr", text}, {"stdout", text}};
}

void withOneStream(const std::function<void()>& action) {
    fflush(stdout);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    action();
}

void inFreshProcess(const std::function<void()>& body) {
    EXPECT_EXIT(
        {
            body();
            exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
        },
        testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace keldo::test
