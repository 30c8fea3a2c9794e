// SPDX-License-Identifier: MIT

#include "conf/messages.h"

#include "forced_failures.h"
#include "printed_text.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <syslog.h>
#include <unistd.h>
#include <utility>
#include <vector>

using keldo::test::Call;
using keldo::test::failCall;
using keldo::test::failNextCalls;
using keldo::test::inFreshProcess;
using keldo::test::onBothStreams;
using keldo::test::printedBy;
using keldo::test::PrintedText;
using keldo::test::reallocSizesIn;
using keldo::test::withOneStream;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::StrEq;

namespace {

/// The calls of the system log's functions as text.
std::vector<std::string> systemLog;

/// The pointer that openlog() got as the identity.
const char* systemLogIdentity = nullptr;

} // namespace

extern "C" {
void __wrap_openlog(const char* identity, int options, int facility);
void __wrap_closelog();
void __wrap_syslog(int priority, const char* format, ...);
void __wrap_vsyslog(int priority, const char* format, va_list args);

void __wrap_openlog(const char* identity, int options, int facility) {
    systemLogIdentity = identity;
    systemLog.push_back("openlog " + std::to_string(options) + " " + std::to_string(facility));
}

void __wrap_closelog() {
    systemLog.push_back("closelog");
}

void __wrap_vsyslog(int priority, const char* format, va_list args) {
    char text[100];
    vsnprintf(text, sizeof(text), format, args);
    systemLog.push_back("vsyslog " + std::to_string(priority) + " " + text);
}

void __wrap_syslog(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    char text[100];
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    systemLog.push_back("syslog " + std::to_string(priority) + " " + text);
}
}

namespace {

/// Restores the process-wide settings after each test.
class Messages : public testing::Test {
protected:
    void TearDown() override {
        program_path = nullptr;
        log_fn = log_console;
        vlog_fn = log_vconsole;
        log_level = 6;
        log_to_console = 1;
        log_facility = LOG_MAIL;
        messages_on_stdout = 1;
        systemLog.clear();
    }
};

using MessagesFormat = Messages;
using MessagesReportError = Messages;
using MessagesLog = Messages;
using MessagesLogSetup = Messages;

const std::string systemErrorTwo = "\nSystem error 2: No such file or directory";

/// What report_error() prints for `message` with `error` in errno.
std::vector<PrintedText> reported(int error, const std::string& message) {
    return printedBy([&] {
        errno = error;
        report_error(0, 0, "%s", message.c_str());
    });
}

[[gnu::format(printf, 2, 3)]] void callLogHookWithList(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vlog_fn(priority, format, args);
    va_end(args);
}

[[gnu::format(printf, 3, 4)]] void callReportVerror(int exit_status, int unused, const char* format,
                                                    ...) {
    va_list args;
    va_start(args, format);
    report_verror(exit_status, unused, format, args);
    va_end(args);
}

} // namespace

// The settings at the start.

TEST(MessagesSettings, StartWithTheConsoleUpToLevelSix) {
    inFreshProcess([] {
        EXPECT_EQ(program_path, nullptr);
        EXPECT_EQ(log_fn, &log_console);
        EXPECT_EQ(vlog_fn, &log_vconsole);
        EXPECT_EQ(log_level, 6);
        EXPECT_EQ(log_to_console, 1);
        EXPECT_EQ(log_facility, 16);
        EXPECT_EQ(messages_on_stdout, 1);
    });
}

// msg_asprintf() and msg_vasprintf().

TEST_F(MessagesFormat, MakesAStringOfAnyLengthForTheCallerToFree) {
    const std::string long_text(100000, 'x');
    const std::unique_ptr<char, decltype(&free)> text(
        msg_asprintf("%s-%03d-%s", "a", 7, long_text.c_str()), free);
    EXPECT_EQ(text.get(), "a-007-" + long_text);
}

TEST_F(MessagesFormat, ExitsWithStatusOneWithoutMemory) {
    const std::string message = "Cannot allocate memory: Cannot allocate memory\n"
                                "System error 12: Cannot allocate memory\n";
    EXPECT_EXIT(withOneStream([] {
                    failCall(Call::vasprintf);
                    static_cast<void>(msg_asprintf("text"));
                }),
                ExitedWithCode(1), StrEq(message + message));
}

// report_error() and report_verror(): the text.

TEST_F(MessagesReportError, PrintsTheMessageAndTheErrorAtEntryOnBothStreamsFlushed) {
    const struct {
        int error;
        std::string message;
        std::string printed;
    } rows[] = {
        {0, "text", "text\n"},
        {0, "text\n", "text\n"},
        {0, "text\n\n", "text\n\n"},
        {0, "a\nb", "a\nb\n"},
        {0, "\n", "\n"},
        {0, "", "\n"},
        {2, "text", "text" + systemErrorTwo + "\n"},
        {2, "text\n", "text\n" + systemErrorTwo + "\n"},
        {9999, "text", "text\nSystem error 9999: Unknown error 9999\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.printed);
        EXPECT_EQ(reported(row.error, row.message), onBothStreams(row.printed));
    }
}

TEST_F(MessagesReportError, PrintsNothingOnStandardOutputIfTheSettingIsZero) {
    messages_on_stdout = 0;
    EXPECT_EQ(reported(0, "text"), (std::vector<PrintedText>{{"stderr", "text\n"}}));
}

TEST_F(MessagesReportError, FormatsArgumentsAndListsAndIgnoresItsSecondParameter) {
    for (const int unused : {0, 1, -1}) {
        SCOPED_TRACE(unused);
        const std::vector<PrintedText> expected = onBothStreams("of 5%" + systemErrorTwo + "\n");
        EXPECT_EQ(printedBy([&] {
                      errno = 2;
                      report_error(0, unused, "%s %d%%", "of", 5);
                  }),
                  expected);
        EXPECT_EQ(printedBy([&] {
                      errno = 2;
                      callReportVerror(0, unused, "%s %d%%", "of", 5);
                  }),
                  expected);
    }
}

TEST_F(MessagesReportError, ReportsAndKeepsTheErrnoAtEntryIfFormattingSetsAnother) {
    // The C locale lacks this character, so vsnprintf() fails with EILSEQ.
    for (const int error : {2, 0}) {
        SCOPED_TRACE(error);
        int after = -1;
        EXPECT_EQ(printedBy([&] {
                      errno = error;
                      report_error(0, 0, "%ls", L"\u20ac");
                      after = errno;
                  }),
                  onBothStreams(error == 2 ? systemErrorTwo + "\n" : "\n"));
        EXPECT_EQ(after, error);
    }
}

TEST_F(MessagesReportError, WritesTheErrorNumberWithoutDigitGrouping) {
    inFreshProcess([] {
        setenv("LOCPATH", KELDO_TEST_LOCALES "/utf8", 1);
        ASSERT_NE(setlocale(LC_NUMERIC, "de_DE"), nullptr);
        EXPECT_EQ(reported(9999, "text"),
                  onBothStreams("text\nSystem error 9999: Unknown error 9999\n"));
    });
}

TEST_F(MessagesReportError, PrefixesThePosixBaseNameOfTheProgramsPathToTheFirstLine) {
    const struct {
        const char* path;
        const char* name;
    } rows[] = {
        {"/usr/local/kvr/admin/sbin/keldoctl", "keldoctl"},
        {"./keldoctl", "keldoctl"},
        {"keldoctl", "keldoctl"},
        {"/sbin/keldoctl/", "keldoctl"},
        {"keldoctl//", "keldoctl"},
        {"/", "/"},
        {"", "."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        program_path = row.path;
        EXPECT_EQ(reported(2, "a\nb"),
                  onBothStreams(std::string(row.name) + ": a\nb" + systemErrorTwo + "\n"));
    }
}

TEST_F(MessagesReportError, PrefixesTheWholePathIfThereIsNoMemoryToCopyIt) {
    program_path = "/sbin/keldoctl";
    EXPECT_EQ(printedBy([] {
                  failNextCalls(Call::strdup, 2);
                  errno = 0;
                  report_error(0, 0, "text");
              }),
              onBothStreams("/sbin/keldoctl: text\n"));
}

// The buffer of 4096 bytes.

TEST_F(MessagesReportError, AddsTheSystemErrorOnlyIfItFitsIntoTheBuffer) {
    const size_t last = 4095 - systemErrorTwo.size();
    for (const size_t length :
         {last, last + 1, size_t(4094), size_t(4095), size_t(4096), size_t(4097), size_t(5000)}) {
        SCOPED_TRACE(length);
        const std::string message(length, 'x');
        EXPECT_EQ(reported(2, message),
                  onBothStreams(message + (length <= last ? systemErrorTwo : "") + "\n"));
        EXPECT_EQ(reported(0, message), onBothStreams(message + "\n"));
    }
}

TEST_F(MessagesReportError, EnlargesTheBufferForTheMessageAndByOneByteForASuffixThatDoesNotFit) {
    const size_t suffix = systemErrorTwo.size();
    struct Row {
        int error;
        size_t length;
        std::vector<size_t> sizes;
    };
    for (const Row& row : std::vector<Row>{
             {0, 4095, {}},
             {0, 4096, {4097}},
             {0, 5000, {5001}},
             {2, 4095 - suffix, {}},
             {2, 4096 - suffix, {4097}},
             {2, 4095, {4097}},
             {2, 4096, {4097, 4098}},
             {2, 5000, {5001, 5002}},
         }) {
        SCOPED_TRACE(std::to_string(row.error) + " " + std::to_string(row.length));
        EXPECT_EQ(reallocSizesIn([&] { reported(row.error, std::string(row.length, 'x')); }),
                  row.sizes);
    }
}

TEST_F(MessagesReportError, CutsTheMessageToABufferThatCannotGrow) {
    const struct {
        int error;
        size_t length;
        int failures;
        size_t printed;
    } rows[] = {{0, 5000, 1, 4095}, {2, 5000, 1, 4095}, {2, 4096, 2, 4095}, {2, 4080, 1, 4080}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.length);
        failNextCalls(Call::realloc, row.failures);
        EXPECT_EQ(reported(row.error, std::string(row.length, 'x')),
                  onBothStreams(std::string(row.printed, 'x') + "\n"));
    }
}

TEST_F(MessagesReportError, ReportsMissingMemoryInsteadOfTheMessage) {
    program_path = "/sbin/keldoctl";
    const std::vector<PrintedText> printed = printedBy([] {
        failCall(Call::malloc);
        report_error(0, 0, "text");
    });
    EXPECT_EQ(printed, onBothStreams("keldoctl: Can't allocate memory for error message\n"));
}

// The exit status.

TEST_F(MessagesReportError, CallsExitWithItsExitStatusAfterPrinting) {
    EXPECT_EXIT(
        {
            atexit([] { static_cast<void>(write(STDERR_FILENO, "handler\n", 8)); });
            withOneStream([] {
                errno = 0;
                report_error(3, 0, "text");
            });
        },
        ExitedWithCode(3), StrEq("text\ntext\nhandler\n"));
}

TEST_F(MessagesReportError, KeepsTheCallersExitStatusWithoutMemory) {
    EXPECT_EXIT(withOneStream([] {
                    failCall(Call::malloc);
                    report_error(4, 0, "text");
                }),
                ExitedWithCode(4),
                StrEq("Can't allocate memory for error message\n"
                      "Can't allocate memory for error message\n"));
}

// The log hook and the console writers.

TEST_F(MessagesLog, PrintsOnBothStreamsFlushedAndAlwaysAddsANewline) {
    EXPECT_EQ(printedBy([] { log_fn(6, "%s %d\n", "text", 1); }), onBothStreams("text 1\n\n"));
    EXPECT_EQ(printedBy([] { callLogHookWithList(6, "%s %d\n", "text", 2); }),
              onBothStreams("text 2\n\n"));
}

TEST_F(MessagesLog, PrintsNothingOnStandardOutputIfTheSettingIsZero) {
    messages_on_stdout = 0;
    const std::vector<PrintedText> onErrorAlone = {{"stderr", "text\n"}};
    EXPECT_EQ(printedBy([] { log_fn(6, "text"); }), onErrorAlone);
    EXPECT_EQ(printedBy([] { callLogHookWithList(6, "text"); }), onErrorAlone);
}

TEST_F(MessagesLog, PrintsPrioritiesUpToTheLevel) {
    struct Row {
        int level;
        int priority;
        bool printed;
    };
    for (const Row row : {Row{6, 0, true}, Row{6, 6, true}, Row{6, 7, false}, Row{6, 12, false},
                          Row{6, -1, true}, Row{11, 12, false}, Row{12, 12, true}, Row{0, 0, true},
                          Row{0, 1, false}, Row{-1, 0, false}}) {
        SCOPED_TRACE(std::to_string(row.level) + " " + std::to_string(row.priority));
        log_level = row.level;
        const std::vector<PrintedText> expected =
            row.printed ? onBothStreams("text\n") : std::vector<PrintedText>{};
        EXPECT_EQ(printedBy([&] { log_fn(row.priority, "text"); }), expected);
        EXPECT_EQ(printedBy([&] { callLogHookWithList(row.priority, "text"); }), expected);
    }
}

TEST_F(MessagesLog, IgnoresTheConsoleFlagTheProgramsPathAndErrno) {
    log_to_console = 0;
    program_path = "/sbin/keldoctl";
    EXPECT_EQ(printedBy([] {
                  errno = 2;
                  log_fn(6, "text");
              }),
              onBothStreams("text\n"));
}

// log_setup().

TEST_F(MessagesLogSetup, RecordsFacilityAndLevel) {
    struct Row {
        int level;
        int log_level;
        int log_to_console;
    };
    for (const Row row :
         {Row{5, 5, 1}, Row{1, 1, 1}, Row{0, 0, 0}, Row{-3, 0, 0}, Row{12, 12, 1}}) {
        SCOPED_TRACE(row.level);
        for (const char* destination : {"console", static_cast<const char*>(nullptr)}) {
            log_setup(destination, row.level, LOG_DAEMON, 0, "identity");
            EXPECT_EQ(log_facility, LOG_DAEMON);
            EXPECT_EQ(log_level, row.log_level);
            EXPECT_EQ(log_to_console, row.log_to_console);
        }
    }
}

TEST_F(MessagesLogSetup, ComparesTheFirstSevenCharactersWithConsoleIgnoringCase) {
    const std::vector<std::pair<const char*, int>> rows = {
        {"console", 1}, {"CONSOLE", 1},  {"ConSole", 1}, {"console-2", 1}, {"consol", 0},
        {"", 0},        {"xconsole", 0}, {"file", 0},    {" console", 0},
    };
    for (const auto& [destination, flag] : rows) {
        SCOPED_TRACE(destination);
        log_setup(destination, 5, LOG_DAEMON, 0, "identity");
        EXPECT_EQ(log_to_console, flag);
    }
}

TEST_F(MessagesLogSetup, InstallsTheConsoleWritersForAnyDestination) {
    for (const char* destination : {"console", "file", ""}) {
        SCOPED_TRACE(destination);
        log_setup(nullptr, 5, LOG_DAEMON, 0, "identity");
        systemLog.clear();
        log_setup(destination, 5, LOG_DAEMON, 0, "identity");
        EXPECT_EQ(printedBy([] { log_fn(5, "text"); }), onBothStreams("text\n"));
        EXPECT_EQ(printedBy([] { callLogHookWithList(5, "text"); }), onBothStreams("text\n"));
        EXPECT_THAT(systemLog, IsEmpty());
    }
}

TEST_F(MessagesLogSetup, ReopensTheSystemLogIfTheDestinationIsNull) {
    const char* const identity = "identity";
    log_setup(nullptr, 5, LOG_DAEMON, LOG_NDELAY, identity);
    log_setup(nullptr, 5, LOG_LOCAL3, 0, identity);
    EXPECT_THAT(
        systemLog,
        ElementsAre(
            "closelog",
            "openlog " + std::to_string(LOG_NDELAY | LOG_PID) + " " + std::to_string(LOG_DAEMON),
            "closelog", "openlog " + std::to_string(LOG_PID) + " " + std::to_string(LOG_LOCAL3)));
    EXPECT_EQ(systemLogIdentity, identity);
}

TEST_F(MessagesLogSetup, SendsTheHooksToTheSystemLogIfTheDestinationIsNull) {
    log_setup(nullptr, 5, LOG_DAEMON, 0, "identity");
    systemLog.clear();
    EXPECT_THAT(printedBy([] {
                    log_fn(12, "%s %d", "text", 1);
                    callLogHookWithList(12, "%s %d", "text", 2);
                }),
                IsEmpty());
    EXPECT_THAT(systemLog, ElementsAre("syslog 12 text 1", "vsyslog 12 text 2"));
}
