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

/// What happens to the calls of getdelim() after `readsBefore` more have gone well.
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
        fputc('x', file); // A stream that is open for reading takes this as an error.
    }
    errno = EIO;
    return -1;
}

void __real_qsort(void* data, size_t count, size_t size, int (*compare)(const void*, const void*));
void __wrap_qsort(void* data, size_t count, size_t size, int (*compare)(const void*, const void*));

/// Leaves an errno of its own, as a function that succeeds may.
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

/// The log hook of these tests. Leaves an errno of its own, as any hook may.
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

/// With the log hook recording, and a record of its own.
class Conf : public testing::Test {
protected:
    void SetUp() override {
        logged.clear();
        log_fn = record;
    }
    void TearDown() override {
        log_fn = log_console;
        reading = Reading::goesOn;
    }

    /// Reads a file of that content into the record; returns the result, with errno.
    int read(const std::string& content) {
        const std::string file = directory_.write("file.conf", content);
        errno = 0;
        return conf_read_file_r(file.c_str(), record_.get());
    }

    /// The table that a file of that content makes.
    Variables variablesOf(const std::string& content) {
        record_ = newRecord();
        EXPECT_EQ(read(content), 0);
        return entriesOf(record_);
    }

    TemporaryDirectory directory_;
    Record record_ = newRecord();
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

TEST_F(ConfInit, TakesARecordWithoutAnArrayForAnEmptyOne) {
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

TEST_F(ConfInit, DoublesAFullTable) {
    addVariables(record_, 20);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 40U);
    EXPECT_EQ(record_->nmemb, 20U);
}

TEST_F(ConfInit, ClearsTheEntriesThatGrowthAdds) {
    addVariables(record_, 20);
    ASSERT_EQ(conf_init_r(record_.get()), 0);
    for (uint32_t i = 20; i < 40; ++i) {
        EXPECT_EQ(record_->data[i].name, nullptr);
        EXPECT_EQ(record_->data[i].value, nullptr);
    }
}

TEST_F(ConfInit, FailsWithoutAMessageWhenThereIsNoMemoryForTheFirstTable) {
    record_->size = 7;
    failCall(Call::calloc);
    setErrnoOfFailures(0); // as by an allocator that does not tell
    errno = 0;
    EXPECT_EQ(conf_init_r(record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(record_->size, 0U);
    EXPECT_EQ(record_->data, nullptr);
    EXPECT_THAT(logged, IsEmpty());
    setErrnoOfFailures(ENOMEM);
}

TEST_F(ConfInit, CanBeTriedAgainWhenThereWasNoMemory) {
    failCall(Call::calloc);
    EXPECT_EQ(conf_init_r(record_.get()), -1);
    EXPECT_EQ(conf_init_r(record_.get()), 0);
    EXPECT_EQ(record_->size, 20U);
}

TEST_F(ConfInit, LeavesTheTableUntouchedWhenItCannotGrow) {
    addVariables(record_, 20);
    const Variables before = entriesOf(record_);
    const conf_pair* const data = record_->data;
    failCall(Call::realloc);
    errno = 0;
    EXPECT_EQ(conf_init_r(record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_THAT(logged,
                ElementsAre(Logged{12, "Unable to read configuration: Cannot allocate memory"}));
    EXPECT_EQ(record_->data, data);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->sorted, 0);
    EXPECT_EQ(entriesOf(record_), before);
}

TEST_F(ConfInit, AsksForTwiceTheSizeWithinTheLimits) {
    struct Row {
        uint32_t size;
        uint32_t nmemb;
        std::vector<size_t> entries; // asked for; none where the growth is refused at once
    };
    for (const Row& row : std::vector<Row>{
             {20, 20, {40}},
             {20, 39, {40}},
             {20, 40, {40}},
             {20, 41, {61}}, // beyond twice the size: a step more than there are
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
        EXPECT_THAT(logged, ElementsAre(Logged{
                                12, "Unable to read configuration: Cannot allocate memory"}));
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

TEST_F(ConfAdd, AppendsInTheOrderOfInsertionAndClearsTheFlag) {
    conf_add_r("B", "1", record_.get());
    conf_add_r("A", "2", record_.get());
    EXPECT_EQ(entriesOf(record_), (Variables{{"B", "1"}, {"A", "2"}}));
    EXPECT_EQ(record_->sorted, 0);
}

TEST_F(ConfAdd, ReplacesTheValueInThePlaceOfTheFirst) {
    conf_add_r("B", "1", record_.get());
    conf_add_r("A", "2", record_.get());
    EXPECT_EQ(conf_add_r("B", "3", record_.get()), 0);
    EXPECT_EQ(entriesOf(record_), (Variables{{"B", "3"}, {"A", "2"}}));
}

TEST_F(ConfAdd, LeavesTheFlagWhenItReplaces) {
    conf_add_r("B", "1", record_.get());
    conf_add_r("B", "2", record_.get());
    EXPECT_EQ(record_->sorted, 0);
    conf_finalize_r(record_.get());
    conf_add_r("B", "3", record_.get());
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfAdd, TellsNamesApartByCase) {
    conf_add_r("name", "1", record_.get());
    conf_add_r("NAME", "2", record_.get());
    EXPECT_EQ(entriesOf(record_), (Variables{{"name", "1"}, {"NAME", "2"}}));
}

TEST_F(ConfAdd, GrowsTheTableAndKeepsWhatIsInIt) {
    addVariables(record_, 41);
    EXPECT_EQ(record_->size, 80U);
    EXPECT_EQ(record_->nmemb, 41U);
    for (const auto& [name, value] : entriesOf(record_)) {
        EXPECT_EQ(std::stoi(name.substr(1)), std::stoi(value));
    }
}

TEST_F(ConfAdd, LogsThatACopyCannotBeMadeAndLeavesTheTable) {
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
            EXPECT_THAT(logged, ElementsAre(Logged{
                                    12, "Unable to form configuration: Cannot allocate memory"}));
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

TEST_F(ConfAdd, FailsWhenTheTableCannotGrow) {
    addVariables(record_, 20);
    failCall(Call::realloc);
    EXPECT_EQ(conf_add_r("B", "1", record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(record_->nmemb, 20U);
}

TEST_F(ConfAdd, GrowsAFullTableEvenToReplace) {
    addVariables(record_, 20);
    failCall(Call::realloc);
    EXPECT_EQ(conf_add_r("A00", "new", record_.get()), -1);
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

TEST_F(ConfFinalize, LeavesATableAloneThatIsFlaggedAsSorted) {
    conf_add_r("B", "1", record_.get());
    conf_add_r("A", "2", record_.get());
    record_->sorted = 1;
    conf_finalize_r(record_.get());
    EXPECT_EQ(entriesOf(record_), (Variables{{"B", "1"}, {"A", "2"}}));
}

TEST_F(ConfFinalize, AbortsOnARecordThatBreaksTheInvariant) {
    conf_pair pairs[2] = {};
    conf_rec noData = {};
    conf_rec tooMany = {.data = pairs, .size = 1, .nmemb = 2, .sorted = 1};
    for (conf_rec* const record : {static_cast<conf_rec*>(nullptr), &noData, &tooMany}) {
        EXPECT_EXIT(conf_finalize_r(record), KilledBySignal(SIGABRT),
                    assertionMessage("conf_finalize_r(", invariantText));
    }
}

// Lookup.

TEST_F(ConfGet, FindsEveryNameOfASortedTable) {
    addVariables(record_, 50);
    conf_finalize_r(record_.get());
    for (const auto& [name, value] : entriesOf(record_)) {
        SCOPED_TRACE(name);
        EXPECT_EQ(conf_get_r(name.c_str(), record_.get()), value);
    }
    EXPECT_EQ(conf_get_r("A50", record_.get()), nullptr);
}

TEST_F(ConfGet, FindsEveryNameOfAnUnsortedTable) {
    for (const char* name : {"C", "A", "B"}) {
        conf_add_r(name, "value", record_.get());
    }
    for (const char* name : {"C", "A", "B"}) {
        SCOPED_TRACE(name);
        EXPECT_STREQ(conf_get_r(name, record_.get()), "value");
    }
    EXPECT_EQ(conf_get_r("D", record_.get()), nullptr);
}

TEST_F(ConfGet, FindsTheSameInASortedTableAsInTheUnsortedOne) {
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

TEST_F(ConfGet, IsCaseSensitive) {
    conf_add_r("NAME", "value", record_.get());
    for (const bool sorted : {false, true}) {
        SCOPED_TRACE(sorted);
        EXPECT_EQ(conf_get_r("name", record_.get()), nullptr);
        conf_finalize_r(record_.get());
    }
}

TEST_F(ConfGet, ReturnsTheRecordsOwnString) {
    conf_add_r("NAME", "value", record_.get());
    EXPECT_EQ(conf_get_r("NAME", record_.get()), record_->data[0].value);
}

TEST_F(ConfGet, AbortsOnARecordThatWasNeverInitialised) {
    EXPECT_EXIT(conf_get_r("NAME", record_.get()), KilledBySignal(SIGABRT),
                assertionMessage("conf_get_r(", invariantText));
}

TEST_F(ConfGet, AbortsOnARecordThatBreaksTheInvariant) {
    conf_pair pairs[2] = {};
    const conf_rec tooMany = {.data = pairs, .size = 1, .nmemb = 2, .sorted = 1};
    for (const conf_rec* const record : {static_cast<const conf_rec*>(nullptr), &tooMany}) {
        EXPECT_EXIT(conf_get_r("NAME", record), KilledBySignal(SIGABRT),
                    assertionMessage("conf_get_r(", invariantText));
    }
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

TEST_F(ConfReadFile, MakesAnEmptySortedTableOfNothingButCommentsAndBlankLines) {
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

TEST_F(ConfReadFile, SortsTheVariables) {
    EXPECT_EQ(variablesOf("B 1\nC 2\nA 3\n"), (Variables{{"A", "3"}, {"B", "1"}, {"C", "2"}}));
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfReadFile, KeepsTheLastDefinitionOfAName) {
    EXPECT_EQ(variablesOf("A 1\nB 2\nA 3\n"), (Variables{{"A", "3"}, {"B", "2"}}));
}

TEST_F(ConfReadFile, AddsToWhatTheRecordHolds) {
    EXPECT_EQ(read("B 1\nC 2\n"), 0);
    EXPECT_EQ(read("C 3\nA 4\n"), 0);
    EXPECT_EQ(entriesOf(record_), (Variables{{"A", "4"}, {"B", "1"}, {"C", "3"}}));
}

TEST_F(ConfReadFile, AcceptsBlanksOfEveryKindAroundTheName) {
    for (const char* line : {"NAME value\n", "  NAME value\n", "\tNAME\tvalue\n",
                             "NAME \t  value\n", "\v\f\r NAME\v\f\r\tvalue\n"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(variablesOf(line), (Variables{{"NAME", "value"}}));
    }
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(ConfReadFile, TakesLettersDigitsAndUnderscoresAsAName) {
    for (const char* name : {"a", "Z", "0", "9lives", "_", "__A_1", "aZ09_"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(variablesOf(std::string(name) + " value\n"), (Variables{{name, "value"}}));
    }
}

TEST_F(ConfReadFile, SkipsANameThatNoWhiteSpaceFollows) {
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

TEST_F(ConfReadFile, LogsARejectedLineFromItsFirstCharacterOnWithItsNewline) {
    variablesOf(" \t NAME=value # note\n  OTHER\n");
    EXPECT_THAT(logged,
                ElementsAre(expectedASpace("NAME=value # note\n"), expectedAValue("OTHER\n")));
}

TEST_F(ConfReadFile, GoesOnAfterRejectedLines) {
    EXPECT_EQ(variablesOf("A 1\nNAME=value\nB 2\nNAME\nC 3\n"),
              (Variables{{"A", "1"}, {"B", "2"}, {"C", "3"}}));
    EXPECT_EQ(logged.size(), 2U);
}

TEST_F(ConfReadFile, DoesNotTouchErrnoOrTheLogForAGoodFile) {
    EXPECT_EQ(read("A 1\n"), 0);
    EXPECT_THAT(logged, IsEmpty());
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

TEST_F(ConfReadFile, ClosesTheFile) {
    const std::ptrdiff_t before = openDescriptors();
    variablesOf("A 1\n");
    EXPECT_EQ(openDescriptors(), before);
}

// Reading: where a value ends.

TEST_F(ConfReadFile, EndsAValueByTheCutRule) {
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

/// The value in `rest`, which is what follows a name and one blank, or nothing: of the white
/// space at its end, a run of an odd length loses the last.
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

TEST_F(ConfReadFile, EndsEveryShortValueByTheParityOfItsTrailingWhiteSpace) {
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

TEST_F(ConfReadFile, EndsEveryShortLastValueByTheParityOfItsTrailingWhiteSpace) {
    for (const std::string& rest : textsOf("v# ", 4)) {
        SCOPED_TRACE(rest);
        const std::string value = expectedValue(rest);
        const Variables variables = variablesOf("NAME " + rest);
        EXPECT_EQ(variables.empty() ? "" : variables.at(0).second, value);
    }
}

// Reading: every language of the report gives the same table.

namespace {

struct Language {
    const char* folder;
    const char* locale;
    bool hasLetterE4; // as one byte
};

const std::vector<Language> languages = {
    {"", "C", false}, {"utf8", "de_DE", false}, {"latin1", "de_DE", true}};

/// Runs `body` once in each language, in a process of its own since locales are kept by name.
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

/// The table that the line "A", `character`, "B value" makes.
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

TEST_F(ConfReadFileFailure, LogsAMissingFileAndLeavesAnEmptyTable) {
    const std::string file = (directory_.path() / "missing.conf").string();
    errno = 0;
    EXPECT_EQ(conf_read_file_r(file.c_str(), record_.get()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(logged, ElementsAre(Logged{12, "unable to open configuration file " + file +
                                                   ": No such file or directory\n"}));
    EXPECT_NE(record_->data, nullptr);
    EXPECT_EQ(record_->size, 20U);
    EXPECT_EQ(record_->nmemb, 0U);
    EXPECT_EQ(record_->sorted, 1);
}

TEST_F(ConfReadFileFailure, TellsWhyAnotherFileCannotBeOpened) {
    const std::string file = directory_.write("file", "") + "/below.conf";
    EXPECT_EQ(conf_read_file_r(file.c_str(), record_.get()), -1);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_THAT(logged, ElementsAre(Logged{12, "unable to open configuration file " + file +
                                                   ": Not a directory\n"}));
}

TEST_F(ConfReadFileFailure, LogsAReadErrorAndKeepsItsErrno) {
    const std::ptrdiff_t before = openDescriptors();
    errno = 0;
    EXPECT_EQ(conf_read_file_r(directory_.path().c_str(), record_.get()), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_THAT(logged,
                ElementsAre(Logged{12, "Unable to read configuration file: Is a directory"}));
    EXPECT_EQ(record_->nmemb, 0U);
    EXPECT_EQ(record_->sorted, 1);
    EXPECT_EQ(openDescriptors(), before);
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

TEST_F(ConfReadFileFailure, IsAnErrorOfTheStreamAlsoAtItsEnd) {
    reading = Reading::failsAtTheEndOfTheFile;
    readsBefore = 1;
    EXPECT_EQ(read("A 1\n"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(entriesOf(record_), (Variables{{"A", "1"}}));
}

TEST_F(ConfReadFileFailure, DoesNotOpenTheFileWithoutATable) {
    const std::string file = directory_.write("file.conf", "A 1\n");
    failCall(Call::calloc);
    errno = 0;
    EXPECT_EQ(conf_read_file_r(file.c_str(), record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(opensOf(file), 0);
    EXPECT_THAT(logged, IsEmpty());
}

TEST_F(ConfReadFileFailure, DoesNotOpenTheFileWithoutRoomForOneEntry) {
    const std::string file = directory_.write("file.conf", "A 1\n");
    addVariables(record_, 20);
    failCall(Call::realloc);
    EXPECT_EQ(conf_read_file_r(file.c_str(), record_.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(opensOf(file), 0);
}

TEST_F(ConfReadFileFailure, StopsWhereACopyCannotBeMadeWithTheEntriesSoFarUnsorted) {
    const std::ptrdiff_t before = openDescriptors();
    failCall(Call::strdup, 6);
    EXPECT_EQ(read("C 1\nB 2\nA 3\nD 4\n"), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_THAT(logged,
                ElementsAre(Logged{12, "Unable to form configuration: Cannot allocate memory"}));
    EXPECT_EQ(entriesOf(record_), (Variables{{"C", "1"}, {"B", "2"}}));
    EXPECT_EQ(record_->sorted, 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ConfReadFileFailure, StopsWhereTheTableCannotGrowWithTheEntriesSoFarUnsorted) {
    std::string content;
    for (int i = 40; i > 10; --i) {
        content.append("A").append(std::to_string(i)).append(" x\n");
    }
    failCall(Call::realloc);
    EXPECT_EQ(read(content), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_THAT(logged,
                ElementsAre(Logged{12, "Unable to read configuration: Cannot allocate memory"}));
    EXPECT_EQ(record_->nmemb, 20U);
    EXPECT_STREQ(record_->data[0].name, "A40");
    EXPECT_EQ(record_->sorted, 0);
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
