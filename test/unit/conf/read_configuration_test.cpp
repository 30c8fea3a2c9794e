// SPDX-License-Identifier: MIT

#include "conf/read_configuration.h"

#include "conf/messages.h"
#include "forced_failures.h"
#include "printed_text.h"
#include "support/random_texts.h"
#include "support/redirected_files.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using keldo::test::Call;
using keldo::test::failCall;
using keldo::test::inFreshProcess;
using keldo::test::opensOf;
using keldo::test::reallocSizesIn;
using keldo::test::setErrnoOfFailures;
using keldo::test::TemporaryDirectory;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::StartsWith;

namespace {

/// The result of getdelim() after `readsBefore` more successful calls.
enum class Reading { goesOn, failsWithoutAStreamError, failsAtTheEndOfTheFile };
Reading reading = Reading::goesOn;
int readsBefore = 0;

} // namespace

extern "C" {
ssize_t __real_getdelim(char** line, size_t* capacity, int delimiter, FILE* file);
ssize_t __wrap_getdelim(char** line, size_t* capacity, int delimiter, FILE* file);

ssize_t __wrap_getdelim(char** line, size_t* capacity, int delimiter, FILE* file) {
    const ssize_t length = __real_getdelim(line, capacity, delimiter, file);
    if (reading == Reading::goesOn || readsBefore-- > 0) {
        return length;
    }
    if (reading == Reading::failsAtTheEndOfTheFile) {
        fputc('x', file); // sets the error flag of a stream that is open for reading
    }
    errno = EIO;
    return -1;
}

void __real_qsort(void* data, size_t count, size_t size, int (*compare)(const void*, const void*));
void __wrap_qsort(void* data, size_t count, size_t size, int (*compare)(const void*, const void*));

/// Changes errno, as a function that succeeds may.
void __wrap_qsort(void* data, size_t count, size_t size, int (*compare)(const void*, const void*)) {
    __real_qsort(data, count, size, compare);
    errno = EDOM;
}
}

namespace {

struct Logged {
    int priority;
    std::string text;

    bool operator==(const Logged&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Logged& logged) {
    return out << logged.priority << " \"" << logged.text << '"';
}

std::vector<Logged> logged;

/// The log hook of these tests. Changes errno, as any hook may.
[[gnu::format(printf, 2, 3)]] void record(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    char text[1000];
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    logged.push_back({priority, text});
    errno = EDOM;
}

using Variables = std::vector<std::pair<std::string, std::string>>;

struct FreeRecord {
    void operator()(conf_rec* record) const noexcept { conf_free_r(record); }
};
using Record = std::unique_ptr<conf_rec, FreeRecord>;

Record newRecord() {
    return Record(static_cast<conf_rec*>(calloc(1, sizeof(conf_rec))));
}

/// The table's entries in their order.
Variables entriesOf(const Record& record) {
    Variables variables;
    for (uint32_t i = 0; i < record->nmemb; ++i) {
        variables.emplace_back(record->data[i].name, record->data[i].value);
    }
    return variables;
}

/// Adds A00, A01 and so on, with their numbers as values.
void addVariables(const Record& record, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        char name[20];
        snprintf(name, sizeof(name), "A%02u", i);
        ASSERT_EQ(conf_add_r(name, std::to_string(i).c_str(), record.get()), 0);
    }
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

/// Records the log. Each test has a record of its own.
class Conf : public testing::Test {
protected:
    void SetUp() override {
        logged.clear();
        log_fn = record;
    }
    void TearDown() override {
        log_fn = log_console;
        reading = Reading::goesOn;
        EXPECT_EQ(openDescriptors(), descriptorsBefore_); // every file is closed
    }

    /// Reads a file of that content into the record; returns the result, with errno.
    int read(const std::string& content) {
        const std::string file = directory_.write("file.conf", content);
        errno = 0;
        return conf_read_file_r(file.c_str(), record_.get());
    }

    /// The table that reading a file with this content makes.
    Variables variablesOf(const std::string& content) {
        record_ = newRecord();
        EXPECT_EQ(read(content), 0);
        return entriesOf(record_);
    }

    TemporaryDirectory directory_;
    Record record_ = newRecord();
    const std::ptrdiff_t descriptorsBefore_ = openDescriptors();
};

using ConfInit = Conf;
using ConfAdd = Conf;
using ConfFinalize = Conf;
using ConfGet = Conf;
using ConfFree = Conf;
using ConfReadFile = Conf;
using ConfReadFileFailure = Conf;

testing::Matcher<const std::string&> assertionMessage(const std::string& function,
                                                      const std::string& text) {
    return AllOf(StartsWith("conf_test: read_configuration.cpp:"), HasSubstr(function),
                 EndsWith(": Assertion `" + text + "' failed.\n"));
}

const char* const invariantText =
    "((void *)0) != pconf && ((void *)0) != pconf->data && pconf->size >= pconf->nmemb";

const std::vector<Logged> cannotRead = {
    {12, "Unable to read configuration: Cannot allocate memory"}};
const std::vector<Logged> cannotForm = {
    {12, "Unable to form configuration: Cannot allocate memory"}};

Logged expectedASpace(const std::string& line) {
    return {12, "Invalid variable definition " + line + "\nExpected a space after variable name\n"};
}

Logged expectedAValue(const std::string& line) {
    return {12, "Invalid variable definition " + line + "\nExpected a value"};
}

} // namespace

// Capacity.

TEST_F(ConfInit, MakesAnEmptySortedTableOfTwentyClearedEntries) {
    ASSERT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->nmemb, 0U);
    EXPECT_EQ(record_->sorted, 1);
    for (uint32_t i = 0; i < 20; ++i) {
        EXPECT_EQ(record_->data[i].name, nullptr);
        EXPECT_EQ(record_->data[i].value, nullptr);
    }
}

TEST_F(ConfInit, TreatsARecordWithoutAnArrayAsEmpty) {
    record_->nmemb = 3;
    record_->size = 7;
    ASSERT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->nmemb, 0U);
}

TEST_F(ConfInit, ChangesNothingWhileAnEntryFits) {
    addVariables(record_, 19);
    const conf_pair* const data = record_->data;
    EXPECT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->data, data);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->nmemb, 19U);
    EXPECT_EQ(record_->sorted, 0);
}

TEST_F(ConfInit, DoublesAFullTableAndClearsTheNewEntries) {
    addVariables(record_, 20);
    EXPECT_EQ(record_->size, 20U);
    ASSERT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 40U);
    EXPECT_EQ(record_->nmemb, 20U);
    for (uint32_t i = 20; i < 40; ++i) {
        EXPECT_EQ(record_->data[i].name, nullptr);
        EXPECT_EQ(record_->data[i].value, nullptr);
    }
}

TEST_F(ConfInit, FailsSilentlyWithoutMemoryForTheFirstTableAndMayBeRetried) {
    record_->size = 7;
    failCall(Call::calloc);
    setErrnoOfFailures(0); // an allocator that does not set errno
    errno = 0;
    EXPECT_EQ(conf_init_r(record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(record_->size, 0U);
    EXPECT_EQ(record_->data, nullptr);
    EXPECT_THAT(logged, IsEmpty());
    setErrnoOfFailures(ENOMEM);
    EXPECT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 20U);
}

TEST_F(ConfInit, LeavesTheTableUnchangedIfItCannotGrow) {
    addVariables(record_, 20);
    const Variables before = entriesOf(record_);
    const conf_pair* const data = record_->data;
    failCall(Call::realloc);
    errno = 0;
    EXPECT_EQ(conf_init_r(record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(logged, cannotRead);
    EXPECT_EQ(record_->data, data);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->sorted, 0);
    EXPECT_EQ(entriesOf(record_), before);
}

TEST_F(ConfInit, AsksForTwiceTheSizeWithinTheLimits) {
    struct Row {
        uint32_t size;
        uint32_t nmemb;
        std::vector<size_t> entries; // requested; empty if the growth is refused without a request
    };
    for (const Row& row : std::vector<Row>{
             {0, 0, {}}, // realloc() to 0 bytes would free the array
             {0, 1, {21}},
             {20, 20, {40}},
             {20, 39, {40}},
             {20, 40, {40}},
             {20, 41, {61}}, // doubling is not enough: the entries and a step
             {268435455, 268435455, {536870910}},
             {268435456, 268435456, {}},
             {1, 536870890, {536870910}},
             {1, 536870891, {}},
             {2147483646, 2147483646, {}},
             {2147483647, 2147483647, {}},
             {2147483648, 2147483648, {}},
             {4294967295, 4294967295, {}},
             {20, 4294967274, {}},
             {20, 4294967275, {}},
             {20, 4294967276, {}},
             {20, 4294967295, {}},
         }) {
        SCOPED_TRACE(std::to_string(row.size) + " " + std::to_string(row.nmemb));
        logged.clear();
        conf_pair pairs[1] = {};
        conf_rec record = {.data = pairs, .size = row.size, .nmemb = row.nmemb, .sorted = 1};
        int result = 0;
        std::vector<size_t> bytes = row.entries;
        std::for_each(bytes.begin(), bytes.end(), [](size_t& n) { n *= sizeof(conf_pair); });
        EXPECT_EQ(reallocSizesIn([&] {
                      failCall(Call::realloc);
                      result = conf_init_r(&record);
                      failCall(Call::realloc, 0);
                  }),
                  bytes);
        EXPECT_EQ(result, -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(record.size, row.size);
        EXPECT_EQ(record.nmemb, row.nmemb);
        EXPECT_EQ(record.data, pairs);
        EXPECT_EQ(logged, cannotRead);
    }
}

TEST_F(ConfInit, AbortsOnANullRecord) {
    EXPECT_EXIT(conf_init_r(nullptr), KilledBySignal(SIGABRT),
                assertionMessage("conf_init_r(", "((void *)0) != pconf"));
}

// Insertion.

TEST_F(ConfAdd, CopiesBothStrings) {
    std::string name = "NAME";
    std::string value = "value";
    ASSERT_EQ(conf_add_r(name.c_str(), value.c_str(), record_.get()), 0);
    name.assign("XXXX");
    value.assign("xxxxx");
    EXPECT_EQ(entriesOf(record_), (Variables{{"NAME", "value"}}));
}

TEST_F(ConfAdd, AppendsInOrderReplacesInPlaceAndTellsNamesApartByCase) {
    const struct {
        const char* name;
        const char* value;
        Variables entries;
    } steps[] = {
        {"B", "1", {{"B", "1"}}},
        {"A", "2", {{"B", "1"}, {"A", "2"}}},
        {"B", "3", {{"B", "3"}, {"A", "2"}}},
        {"a", "4", {{"B", "3"}, {"A", "2"}, {"a", "4"}}},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.value);
        EXPECT_EQ(conf_add_r(step.name, step.value, record_.get()), 0);
        EXPECT_EQ(entriesOf(record_), step.entries);
        EXPECT_EQ(record_->sorted, 0);
    }
}

TEST_F(ConfAdd, KeepsATableSortedIfItReplaces) {
    conf_add_r("B", "1", record_.get());
    conf_finalize_r(record_.get());
    conf_add_r("B", "2", record_.get());
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfAdd, GrowsTheTableAndKeepsWhatIsInIt) {
    addVariables(record_, 41);
    EXPECT_EQ(record_->size, 80U);
    EXPECT_EQ(record_->nmemb, 41U);
    for (const auto& [name, value] : entriesOf(record_)) {
        EXPECT_EQ(std::stoi(name.substr(1)), std::stoi(value));
    }
}

TEST_F(ConfAdd, LogsAFailedCopyAndLeavesTheTableUnchanged) {
    conf_add_r("A", "1", record_.get());
    conf_finalize_r(record_.get());
    for (const int call : {1, 2}) {
        for (const char* name : {"A", "B"}) {
            SCOPED_TRACE(name + std::to_string(call));
            logged.clear();
            errno = 0;
            failCall(Call::strdup, call);
            EXPECT_EQ(conf_add_r(name, "2", record_.get()), -1);
            EXPECT_EQ(errno, ENOMEM);
            EXPECT_EQ(logged, cannotForm);
            EXPECT_EQ(entriesOf(record_), (Variables{{"A", "1"}}));
            EXPECT_EQ(record_->sorted, 1);
            failCall(Call::strdup, 0);
        }
    }
}

TEST_F(ConfAdd, FailsWithoutATable) {
    failCall(Call::calloc);
    EXPECT_EQ(conf_add_r("A", "1", record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(ConfAdd, FailsIfAFullTableCannotGrowEvenToReplace) {
    addVariables(record_, 20);
    for (const char* name : {"B", "A00"}) {
        SCOPED_TRACE(name);
        failCall(Call::realloc);
        EXPECT_EQ(conf_add_r(name, "new", record_.get()), -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(record_->nmemb, 20U);
    }
    EXPECT_EQ(conf_add_r("A00", "new", record_.get()), 0);
    EXPECT_EQ(record_->size, 40U);
    EXPECT_EQ(record_->nmemb, 20U);
}

TEST_F(ConfAdd, AbortsOnANullRecord) {
    EXPECT_EXIT(conf_add_r("A", "1", nullptr), KilledBySignal(SIGABRT),
                assertionMessage("conf_init_r(", "((void *)0) != pconf"));
}

// Sorting.

TEST_F(ConfFinalize, SortsByTheBytesOfTheNames) {
    for (const char* name : {"b", "\xe4", "B", "_", "A1", "A", "9"}) {
        conf_add_r(name, name, record_.get());
    }
    conf_finalize_r(record_.get());
    EXPECT_EQ(record_->sorted, 1);
    EXPECT_EQ(entriesOf(record_), (Variables{{"9", "9"},
                                             {"A", "A"},
                                             {"A1", "A1"},
                                             {"B", "B"},
                                             {"_", "_"},
                                             {"b", "b"},
                                             {"\xe4", "\xe4"}}));
}

TEST_F(ConfFinalize, DoesNotSortATableThatIsMarkedAsSorted) {
    conf_add_r("B", "1", record_.get());
    conf_add_r("A", "2", record_.get());
    record_->sorted = 1;
    conf_finalize_r(record_.get());
    EXPECT_EQ(entriesOf(record_), (Variables{{"B", "1"}, {"A", "2"}}));
}

TEST_F(Conf, AbortsInFinalizeAndGetOnAnInconsistentRecord) {
    conf_pair pairs[2] = {};
    conf_rec noData = {};
    conf_rec tooMany = {.data = pairs, .size = 1, .nmemb = 2, .sorted = 1};
    for (conf_rec* const record : {static_cast<conf_rec*>(nullptr), &noData, &tooMany}) {
        EXPECT_EXIT(conf_finalize_r(record), KilledBySignal(SIGABRT),
                    assertionMessage("conf_finalize_r(", invariantText));
        EXPECT_EXIT(conf_get_r("NAME", record), KilledBySignal(SIGABRT),
                    assertionMessage("conf_get_r(", invariantText));
    }
}

// Look-up.

TEST_F(ConfGet, FindsTheSameNamesInSortedAndUnsortedTables) {
    keldo::test::RandomTexts random;
    std::map<std::string, std::string> model;
    for (int i = 0; i < 500; ++i) {
        const std::string name = random.text("aAbB_01", 4);
        const std::string value = random.bytes(3).c_str();
        model[name] = value;
        conf_add_r(name.c_str(), value.c_str(), record_.get());
    }
    for (const bool sorted : {false, true}) {
        SCOPED_TRACE(sorted);
        EXPECT_EQ(record_->nmemb, model.size());
        EXPECT_EQ(record_->sorted, sorted ? 1 : 0);
        for (int i = 0; i < 500; ++i) {
            const std::string name = random.text("aAbB_01", 5);
            const char* const value = conf_get_r(name.c_str(), record_.get());
            const auto expected = model.find(name);
            ASSERT_EQ(value != nullptr, expected != model.end()) << name;
            if (value != nullptr) {
                ASSERT_EQ(value, expected->second) << name;
            }
        }
        conf_finalize_r(record_.get());
    }
}

TEST_F(ConfGet, FindsANameThatWasAddedAfterSorting) {
    conf_add_r("B", "1", record_.get());
    conf_finalize_r(record_.get());
    conf_add_r("A", "2", record_.get());
    EXPECT_STREQ(conf_get_r("A", record_.get()), "2");
    EXPECT_STREQ(conf_get_r("B", record_.get()), "1");
}

TEST_F(ConfGet, ReturnsTheRecordsOwnString) {
    conf_add_r("NAME", "value", record_.get());
    EXPECT_EQ(conf_get_r("NAME", record_.get()), record_->data[0].value);
}

// Release.

TEST_F(ConfFree, AcceptsNullAndEveryStageOfARecord) {
    conf_free_r(nullptr);
    for (const uint32_t count : {0U, 1U, 20U, 21U, 100U}) {
        record_ = newRecord();
        addVariables(record_, count);
    }
    record_ = newRecord();
    failCall(Call::calloc);
    EXPECT_EQ(conf_init_r(record_.get()), -1);
}

// Reading: lines and names.

TEST_F(ConfReadFile, MakesAnEmptySortedTableFromCommentsAndBlankLines) {
    for (const char* content : {"", "\n", "# comment\n", "   \n\t\n\r\n", "#", "  # NAME value\n\n",
                                "#NAME value\n# NAME value"}) {
        SCOPED_TRACE(content);
        EXPECT_THAT(variablesOf(content), IsEmpty());
        EXPECT_EQ(record_->sorted, 1);
        EXPECT_EQ(record_->size, 20U);
        EXPECT_EQ(conf_get_r("NAME", record_.get()), nullptr);
    }
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(ConfReadFile, SortsTheVariablesAndKeepsTheLastDefinitionOfAName) {
    EXPECT_EQ(variablesOf("B 1\nC 2\nA 3\nB 4\n"), (Variables{{"A", "3"}, {"B", "4"}, {"C", "2"}}));
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfReadFile, AddsToTheEntriesOfTheRecord) {
    EXPECT_EQ(read("B 1\nC 2\n"), 0);
    EXPECT_EQ(read("C 3\nA 4\n"), 0);
    EXPECT_EQ(entriesOf(record_), (Variables{{"A", "4"}, {"B", "1"}, {"C", "3"}}));
}

TEST_F(ConfReadFile, AcceptsAllWhiteSpaceAroundTheName) {
    for (const char* line : {"NAME value\n", "  NAME value\n", "\tNAME\tvalue\n",
                             "NAME \t  value\n", "\v\f\r NAME\v\f\r\tvalue\n"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(variablesOf(line), (Variables{{"NAME", "value"}}));
    }
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(ConfReadFile, AcceptsLettersDigitsAndUnderscoresInAName) {
    for (const char* name : {"a", "Z", "0", "9lives", "_", "__A_1", "aZ09_"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(variablesOf(std::string(name) + " value\n"), (Variables{{name, "value"}}));
    }
}

TEST_F(ConfReadFile, SkipsANameWithoutWhiteSpaceAfterIt) {
    for (const char* line : {"NAME=value", "-NAME value", "NAME", "NAME# x", "=", "NAME-X value",
                             "\"NAME\" value", "\xc3\xa4 value"}) {
        SCOPED_TRACE(line);
        logged.clear();
        EXPECT_THAT(variablesOf(line), IsEmpty());
        EXPECT_THAT(logged, ElementsAre(expectedASpace(line)));
    }
}

TEST_F(ConfReadFile, SkipsANameWithoutAValue) {
    for (const char* line :
         {"NAME\n", "NAME ", "NAME  \n", "NAME #value\n", "NAME\t\r\n", "NAME \t# x\n"}) {
        SCOPED_TRACE(line);
        logged.clear();
        EXPECT_THAT(variablesOf(line), IsEmpty());
        EXPECT_THAT(logged, ElementsAre(expectedAValue(line)));
    }
}

TEST_F(ConfReadFile, LogsEachInvalidLineWithoutItsIndentationAndContinues) {
    EXPECT_EQ(variablesOf("A 1\n \t NAME=value # note\nB 2\n  OTHER\nC 3\n"),
              (Variables{{"A", "1"}, {"B", "2"}, {"C", "3"}}));
    EXPECT_THAT(logged,
                ElementsAre(expectedASpace("NAME=value # note\n"), expectedAValue("OTHER\n")));
}

TEST_F(ConfReadFile, ReadsMoreVariablesThanTheFirstTableHolds) {
    std::string content;
    for (int i = 999; i >= 100; --i) {
        content.append("A").append(std::to_string(i)).append(" x\n");
    }
    EXPECT_EQ(variablesOf(content).size(), 900U);
    EXPECT_STREQ(conf_get_r("A100", record_.get()), "x");
    EXPECT_STREQ(conf_get_r("A999", record_.get()), "x");
}

TEST_F(ConfReadFile, HasNoLimitOfLineLength) {
    const std::string name(100000, 'N');
    const std::string value(1000000, 'v');
    EXPECT_EQ(variablesOf("A 1\n" + name + " " + value + "\nZ 2\n"),
              (Variables{{"A", "1"}, {name, value}, {"Z", "2"}}));
}

TEST_F(ConfReadFile, EndsALineAtANulByte) {
    using namespace std::string_literals;
    EXPECT_EQ(variablesOf("A val\0ue\nB 1 \0\nC\0 2\n\0D 3\nE 4\n"s),
              (Variables{{"A", "val"}, {"B", "1"}, {"E", "4"}}));
    EXPECT_THAT(logged, ElementsAre(expectedASpace("C")));
}

// Reading: the end of a value.

TEST_F(ConfReadFile, CutsOneWhiteSpaceCharacterFromAnOddNumberAtTheEndOfAValue) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"NAME value\n", "value"},
        {"NAME a b\n", "a b"},
        {"NAME value # note\n", "value"},
        {"NAME value", "value"},
        {"NAME x#y\n", "x"},
        {"NAME value \n", "value \n"},
        {"NAME value\r\n", "value\r\n"},
        {"NAME value  \n", "value  "},
        {"NAME value  # note\n", "value  "},
        {"NAME value   \n", "value   \n"},
        {"NAME value   # note\n", "value  "},
        {"NAME value ", "value"},
        {"NAME value  ", "value  "},
        {"NAME value\t\n", "value\t\n"},
        {"NAME value \t", "value \t"},
        {"NAME v", "v"},
        {"NAME v\n", "v"},
        {"NAME v#", "v"},
        {"NAME v #\n", "v"},
        {"NAME a  b   c\n", "a  b   c"},
        {"NAME a\tb # c # d\n", "a\tb"},
        {"NAME = value\n", "= value"},
        {"NAME \"a b\"\n", "\"a b\""},
        {"NAME -\n", "-"},
    };
    for (const auto& [line, value] : rows) {
        SCOPED_TRACE(line);
        EXPECT_EQ(variablesOf(line), (Variables{{"NAME", value}}));
    }
}

namespace {

const char* const whiteSpace = " \t\n\v\f\r";

/// The value in `rest`, the text after a name and one blank; empty if there is no value. An odd
/// number of white space characters at its end loses the last of them.
std::string expectedValue(const std::string& rest) {
    const size_t start = rest.find_first_not_of(whiteSpace);
    if (start == std::string::npos || rest[start] == '#') {
        return "";
    }
    std::string value = rest.substr(start, rest.find('#', start) - start);
    const size_t trailing = value.size() - 1 - value.find_last_not_of(whiteSpace);
    if (trailing % 2 == 1) {
        value.pop_back();
    }
    return value;
}

/// All texts of up to `length` of these characters.
std::vector<std::string> textsOf(const std::string& characters, size_t length) {
    std::vector<std::string> texts = {""};
    for (size_t first = 0; texts[first].size() < length; ++first) {
        for (const char character : characters) {
            texts.push_back(texts[first] + character);
        }
    }
    return texts;
}

} // namespace

TEST_F(ConfReadFile, TrimsEveryShortValueByTheParityOfItsTrailingWhiteSpace) {
    std::string content;
    Variables expected;
    for (const std::string& rest : textsOf("v# \t\r", 5)) {
        const std::string name = "N" + std::to_string(10000 + expected.size());
        const std::string value = expectedValue(rest + "\n");
        content += name + " " + rest + "\n";
        expected.emplace_back(name, value.empty() ? "rejected" : value);
    }
    const Variables variables = variablesOf(content);
    std::map<std::string, std::string> values(variables.begin(), variables.end());
    ASSERT_GT(values.size(), 1000U);
    EXPECT_EQ(values.size() + logged.size(), expected.size());
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(values.contains(name) ? values[name] : "rejected", value) << name;
    }
}

TEST_F(ConfReadFile, TrimsAValueWithoutANewlineByTheSameRule) {
    for (const std::string& rest : textsOf("v# ", 4)) {
        SCOPED_TRACE(rest);
        const std::string value = expectedValue(rest);
        const Variables variables = variablesOf("NAME " + rest);
        EXPECT_EQ(variables.empty() ? "" : variables.at(0).second, value);
    }
}

// Reading: the table does not depend on the language of the report.

namespace {

struct Language {
    const char* folder;
    const char* locale;
    bool hasLetterE4; // byte 0xe4 is a letter
};

const std::vector<Language> languages = {
    {"", "C", false}, {"utf8", "de_DE", false}, {"latin1", "de_DE", true}};

/// Runs `body` in each language, in a fresh process since the C library caches locales by name.
void inEachLanguage(const std::function<void()>& body) {
    for (const Language& language : languages) {
        SCOPED_TRACE(std::string(language.folder) + " " + language.locale);
        inFreshProcess([&] {
            setenv("LOCPATH", (std::string(KELDO_TEST_LOCALES "/") + language.folder).c_str(), 1);
            ASSERT_NE(setlocale(LC_ALL, language.locale), nullptr);
            ASSERT_EQ(isalnum(0xe4) != 0, language.hasLetterE4);
            body();
        });
    }
}

/// The table of a file with the line "A", `character`, "B value".
Variables variablesWith(char character) {
    const std::string nameCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    if (nameCharacters.find(character) != std::string::npos) {
        return {{std::string("A") + character + "B", "value"}};
    }
    if (character == '\n') {
        return {{"B", "value"}};
    }
    if (std::string(whiteSpace).find(character) != std::string::npos) {
        return {{"A", "B value"}};
    }
    return {};
}

} // namespace

TEST_F(ConfReadFile, ClassifiesEveryByteAsInThePosixLocaleWhateverTheLanguage) {
    inEachLanguage([&] {
        for (int byte = 1; byte < 256; ++byte) {
            SCOPED_TRACE(byte);
            const char character = static_cast<char>(byte);
            EXPECT_EQ(variablesOf(std::string("A") + character + "B value\n"),
                      variablesWith(character));
        }
    });
}

TEST_F(ConfReadFile, KeepsBytesBeyondAsciiInValuesWhateverTheLanguage) {
    inEachLanguage([&] {
        for (int byte = 128; byte < 256; ++byte) {
            SCOPED_TRACE(byte);
            const std::string character(1, static_cast<char>(byte));
            for (const std::string& value : {character, "a" + character, "a " + character}) {
                EXPECT_EQ(variablesOf("NAME " + value + "\n"), (Variables{{"NAME", value}}));
            }
        }
    });
}

TEST_F(ConfReadFile, SortsByBytesWhateverTheLanguage) {
    inEachLanguage([&] {
        EXPECT_EQ(variablesOf("a 1\nB 2\nA 3\nb 4\n_ 5\n"),
                  (Variables{{"A", "3"}, {"B", "2"}, {"_", "5"}, {"a", "1"}, {"b", "4"}}));
        EXPECT_STREQ(conf_get_r("b", record_.get()), "4");
    });
}

// Reading: failures.

TEST_F(ConfReadFileFailure, LogsWhyAFileCannotBeOpenedOrReadAndLeavesAnEmptyTable) {
    const std::string missing = directory_.path() / "missing.conf";
    const std::string below = directory_.write("file", "") + "/below.conf";
    const struct {
        std::string file;
        int error;
        std::string message;
    } rows[] = {
        {missing, ENOENT,
         "unable to open configuration file " + missing + ": No such file or directory\n"},
        {below, ENOTDIR, "unable to open configuration file " + below + ": Not a directory\n"},
        {directory_.path(), EISDIR, "Unable to read configuration file: Is a directory"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        record_ = newRecord();
        logged.clear();
        errno = 0;
        EXPECT_EQ(conf_read_file_r(row.file.c_str(), record_.get()), -1);
        EXPECT_EQ(errno, row.error);
        EXPECT_THAT(logged, ElementsAre(Logged{12, row.message}));
        EXPECT_EQ(record_->size, 20U);
        EXPECT_EQ(record_->nmemb, 0U);
        EXPECT_EQ(record_->sorted, 1);
    }
}

TEST_F(ConfReadFileFailure, KeepsTheEntriesBeforeAReadErrorSorted) {
    reading = Reading::failsWithoutAStreamError;
    readsBefore = 2;
    EXPECT_EQ(read("B 1\nA 2\nC 3\n"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_THAT(logged,
                ElementsAre(Logged{12, "Unable to read configuration file: Input/output error"}));
    EXPECT_EQ(entriesOf(record_), (Variables{{"A", "2"}, {"B", "1"}}));
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfReadFileFailure, IsReportedForAStreamErrorAtTheEndOfTheFile) {
    reading = Reading::failsAtTheEndOfTheFile;
    readsBefore = 1;
    EXPECT_EQ(read("A 1\n"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(entriesOf(record_), (Variables{{"A", "1"}}));
}

TEST_F(ConfReadFileFailure, DoesNotOpenTheFileWithoutRoomForAnEntry) {
    const std::string file = directory_.write("file.conf", "A 1\n");
    for (const Call call : {Call::calloc, Call::realloc}) {
        failCall(call);
        errno = 0;
        EXPECT_EQ(conf_read_file_r(file.c_str(), record_.get()), -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(opensOf(file), 0);
        EXPECT_EQ(logged.empty(), call == Call::calloc);
        addVariables(record_, 20); // so that the next attempt must grow the table
    }
}

TEST_F(ConfReadFileFailure, LeavesTheEntriesUnsortedIfALineCannotBeAdded) {
    std::string content;
    for (int i = 40; i > 10; --i) {
        content.append("A").append(std::to_string(i)).append(" x\n");
    }
    const struct {
        Call call;
        int number;
        std::vector<Logged> logged;
        uint32_t entries;
    } rows[] = {{Call::strdup, 6, cannotForm, 2}, {Call::realloc, 1, cannotRead, 20}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entries);
        record_ = newRecord();
        logged.clear();
        failCall(row.call, row.number);
        EXPECT_EQ(read(content), -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(logged, row.logged);
        EXPECT_EQ(record_->nmemb, row.entries);
        EXPECT_STREQ(record_->data[0].name, "A40");
        EXPECT_EQ(record_->sorted, 0);
    }
}

TEST_F(ConfReadFileFailure, IsSilentByDefault) {
    log_fn = log_console;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(read("NAME=value\nNAME\n"), 0);
    EXPECT_EQ(conf_read_file_r("/nonexistent/file.conf", record_.get()), -1);
    EXPECT_EQ(conf_read_file_r("/", record_.get()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ConfReadFileFailure, AbortsOnANullPathOrRecord) {
    const char* const text = "((void *)0) != conf_file && ((void *)0) != pconf";
    EXPECT_EXIT(conf_read_file_r(nullptr, record_.get()), KilledBySignal(SIGABRT),
                assertionMessage("conf_read_file_r(", text));
    EXPECT_EXIT(conf_read_file_r("file.conf", nullptr), KilledBySignal(SIGABRT),
                assertionMessage("conf_read_file_r(", text));
}
