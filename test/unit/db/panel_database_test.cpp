// SPDX-License-Identifier: MIT

#include "db/panel_database.h"

#include "fake_client_library.h"
#include "support/redirected_files.h"
#include "support/temporary_directory.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keldo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Statements = std::vector<std::string>;

const std::string noSuchFile = "No such file or directory";
const std::string versionQuery = "SHOW VARIABLES LIKE 'version'";
const std::string miscQuery = "SELECT val FROM misc WHERE param='mysql41_compatible'";
const std::string keysOff = "set foreign_key_checks=0";

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

std::string connectCall(const std::string& password) {
    return "connect host=localhost user=admin password=" + password +
           " database=kvr port=0 socket=none flags=0";
}

/// A panel database of today and a password file that says "secret".
class PanelDatabase : public testing::Test {
protected:
    PanelDatabase() {
        fakeServer = FakeServer::ofToday();
        setPasswordFile("secret\n");
        errno = 0;
    }

    void setPasswordFile(const std::string& content) {
        redirectFile(kvrShadowFile, directory.write("shadow", content));
    }

    /// The password that the server is given with that password file.
    std::string passwordFrom(const std::string& content) {
        setPasswordFile(content);
        fakeServer.calls.clear();
        close(db_connect_admin(error.data(), error.size()));
        const std::string call = fakeServer.calls.at(1);
        const std::string before = "password=";
        const std::size_t start = call.find(before) + before.size();
        return call.substr(start, call.find(" database=") - start);
    }

    static void close(MYSQL* db) {
        if (db != nullptr) {
            mysql_close(db);
        }
    }

    void expectMessage(const std::string& message) { EXPECT_EQ(error.data(), message); }

    void expectNothingLeftOpen() {
        EXPECT_EQ(fakeServer.openHandles, 0);
        EXPECT_EQ(fakeServer.openResults, 0);
    }

    TemporaryDirectory directory;
    std::array<char, db_error_size> error{};
};

class DbConnectAdmin : public PanelDatabase {
protected:
    MYSQL* connect() { return db_connect_admin(error.data(), error.size()); }
};

class DbConnectChecked : public PanelDatabase {};
class DbConnect : public PanelDatabase {};
class DbConnectSetup : public PanelDatabase {};
class DbSetNames : public PanelDatabase {};
class KvrDbConnect : public PanelDatabase {};
class KvrDbConnectOrReport : public PanelDatabase {};
class KvrDbUtf8Mode : public PanelDatabase {
protected:
    // The mode starts unknown once in a process, so these tests each run their body in a new one.
    KvrDbUtf8Mode() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// The whole of such a process, which ends without the destructor of this.
    [[noreturn]] void runAndExit(void (*body)()) {
        body();
        std::filesystem::remove_all(directory.path());
        std::exit(HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
};

TEST(KvrShadowFile, IsThePanelsOwn) {
    EXPECT_STREQ(kvrShadowFile, "/etc/kvr/.kvr.shadow");
}

TEST_F(DbConnectAdmin, ConnectsToThePanelsDatabaseAndSendsNothing) {
    MYSQL* const db = connect();
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret")));
    expectMessage("");
    close(db);
}

TEST_F(DbConnectAdmin, LimitsTheWaitForAServerThatStaysSilent) {
    close(connect());
    EXPECT_EQ(fakeServer.timeLimits, (std::map<int, unsigned int>{{MYSQL_OPT_CONNECT_TIMEOUT, 30},
                                                                  {MYSQL_OPT_READ_TIMEOUT, 60},
                                                                  {MYSQL_OPT_WRITE_TIMEOUT, 60}}));
}

TEST_F(DbConnectAdmin, TakesThePasswordFromTheFirstLineLessItsNewline) {
    const struct {
        std::string content, password;
    } cases[] = {
        {"secret\n", "secret"},
        {"secret", "secret"},
        {"secret ", "secret "},
        {"secret\r", "secret\r"},
        {"secret\r\n", "secret\r"},
        {" \tsecret \t\n", " \tsecret \t"},
        {"first\nsecond\n", "first"},
        {"\n", ""},
        {"\nsecond\n", ""},
        {"pässwörd\n", "pässwörd"},
        {std::string("\0secret\n", 8), ""},
        {std::string("sec\0ret\n", 8), "sec"},
    };
    for (const auto& [content, password] : cases) {
        SCOPED_TRACE(content);
        EXPECT_EQ(passwordFrom(content), password);
    }
}

TEST_F(DbConnectAdmin, TakesAtMostNinetyNineCharactersOfThePassword) {
    const std::string ninetyNine(99, 'x');
    EXPECT_EQ(passwordFrom(std::string(98, 'x') + "\n"), std::string(98, 'x'));
    EXPECT_EQ(passwordFrom(ninetyNine + "\n"), ninetyNine);
    EXPECT_EQ(passwordFrom(ninetyNine), ninetyNine);
    EXPECT_EQ(passwordFrom(ninetyNine + "yz\n"), ninetyNine);
}

TEST_F(DbConnectAdmin, SaysWhyThePasswordFileCannotBeOpened) {
    redirectFile(kvrShadowFile, "");
    EXPECT_EQ(connect(), nullptr);
    expectMessage("Unable to open admin password file: " + noSuchFile);
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(DbConnectAdmin, RefusesAnEmptyPasswordFile) {
    setPasswordFile("");
    EXPECT_EQ(connect(), nullptr);
    expectMessage("Unable to read admin password file: Success");
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(DbConnectAdmin, SaysWhyThePasswordFileCannotBeRead) {
    redirectFile(kvrShadowFile, directory.path().string());
    EXPECT_EQ(connect(), nullptr);
    expectMessage("Unable to read admin password file: Is a directory");
}

TEST_F(DbConnectAdmin, LeavesNoDescriptorOpenWhateverThePasswordFile) {
    for (const char* content : {"secret\n", ""}) {
        SCOPED_TRACE(content);
        setPasswordFile(content);
        const std::ptrdiff_t before = openDescriptors();
        close(connect());
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(DbConnectAdmin, ReadsThePasswordAnewForEachConnection) {
    const int before = opensOf(kvrShadowFile);
    close(connect());
    close(connect());
    EXPECT_EQ(opensOf(kvrShadowFile), before + 2);
}

TEST_F(DbConnectAdmin, SetsErrnoWhereThereIsNoMemoryForTheClientObject) {
    fakeServer.initFails = true;
    EXPECT_EQ(connect(), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    expectMessage("Unable to initialize MySQL connection structure: Cannot allocate memory");
    EXPECT_THAT(fakeServer.calls, ElementsAre("init"));
}

TEST_F(DbConnectAdmin, ClosesTheHandleOfAFailedConnection) {
    fakeServer.connectFails = true;
    fakeServer.connectError = {2002, "Can't connect to local server"};
    EXPECT_EQ(connect(), nullptr);
    expectMessage("Unable to connect to Keldo Database: Can't connect to local server");
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret"), "close"));
}

TEST_F(DbConnectAdmin, KeepsAConnectionWhoseHandleReportsAnError) {
    fakeServer.connectError = {2013, "Lost connection"};
    MYSQL* const db = connect();
    EXPECT_NE(db, nullptr);
    close(db);
}

TEST_F(DbConnectAdmin, CutsAMessageToTheBuffer) {
    redirectFile(kvrShadowFile, "");
    error.fill('#');
    EXPECT_EQ(db_connect_admin(error.data(), 15), nullptr);
    expectMessage("Unable to open");
    EXPECT_EQ(error[15], '#');
}

TEST_F(DbConnectChecked, ConnectsAndSendsNothing) {
    MYSQL* const db = db_connect_checked(error.data(), error.size());
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret")));
    close(db);
}

TEST_F(DbConnectChecked, PassesAFailureOn) {
    redirectFile(kvrShadowFile, "");
    EXPECT_EQ(db_connect_checked(error.data(), error.size()), nullptr);
    expectMessage("Unable to open admin password file: " + noSuchFile);
}

TEST_F(DbConnectChecked, ClosesAConnectionWhoseHandleReportsAnError) {
    fakeServer.connectError = {2013, "Lost connection"};
    EXPECT_EQ(db_connect_checked(error.data(), error.size()), nullptr);
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret"), "close"));
    expectMessage("");
}

TEST_F(DbConnect, PreparesTheConnection) {
    MYSQL* const db = db_connect(error.data(), error.size());
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.calls,
                ElementsAre("init", connectCall("secret"), "query " + keysOff,
                            "query " + versionQuery, "query " + miscQuery, "query SET NAMES utf8"));
    expectMessage("");
    close(db);
    expectNothingLeftOpen();
}

TEST_F(DbConnect, PassesAFailureOn) {
    fakeServer.initFails = true;
    EXPECT_EQ(db_connect(error.data(), error.size()), nullptr);
    expectMessage("Unable to initialize MySQL connection structure: Cannot allocate memory");
}

TEST_F(DbConnect, SendsNothingWhereTheHandleReportsAnErrorAtOnce) {
    fakeServer.connectError = {2013, "Lost connection"};
    EXPECT_EQ(db_connect(error.data(), error.size()), nullptr);
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret"), "close"));
}

TEST_F(DbConnect, GoesOnWhereForeignKeyChecksCannotBeSwitchedOff) {
    fakeServer.answers[keysOff] = rejected({1193, "Unknown system variable"});
    MYSQL* const db = db_connect(error.data(), error.size());
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.statements(),
                ElementsAre(keysOff, versionQuery, miscQuery, "SET NAMES utf8"));
    close(db);
}

/// How a step of the character-set choice fails: its label, and the answer to which statement.
struct FailingStep {
    std::string label, statement;
    Answer answer;
};

std::vector<FailingStep> failingSteps(const ClientError& clientError) {
    Answer noResult;
    noResult.error = clientError;
    Answer noRow = resultSet({"Variable_name", "Value"}, {});
    noRow.error = clientError;
    Answer nullVersion = resultSet({"Variable_name", "Value"}, {{"version", std::nullopt}});
    nullVersion.error = clientError;
    return {
        {"query version", versionQuery, rejected(clientError)},
        {"store query result", versionQuery, noResult},
        {"fetch version row", versionQuery, noRow},
        {"empty version result", versionQuery, nullVersion},
        {"mysql41 compatible query", miscQuery, rejected(clientError)},
        {"set names query", "SET NAMES utf8", rejected(clientError)},
    };
}

TEST_F(DbConnect, ClosesTheConnectionWhereAFailedStepLeavesAnError) {
    for (const auto& [label, statement, answer] : failingSteps({1146, "Table doesn't exist"})) {
        SCOPED_TRACE(label);
        fakeServer = FakeServer::ofToday();
        fakeServer.answers[statement] = answer;
        EXPECT_EQ(db_connect(error.data(), error.size()), nullptr);
        expectMessage("DB error (" + label + ") 1146: Table doesn't exist");
        EXPECT_EQ(fakeServer.calls.back(), "close");
        EXPECT_EQ(fakeServer.statements().back(), statement);
        expectNothingLeftOpen();
    }
}

TEST_F(DbConnect, KeepsTheConnectionWhereAFailedStepLeavesNoError) {
    for (const auto& [label, statement, answer] : failingSteps({})) {
        SCOPED_TRACE(label);
        fakeServer = FakeServer::ofToday();
        fakeServer.answers[statement] = answer;
        MYSQL* const db = db_connect(error.data(), error.size());
        EXPECT_NE(db, nullptr);
        expectMessage("DB error (" + label + "): unknown error");
        close(db);
        expectNothingLeftOpen();
    }
}

TEST_F(DbConnectSetup, PreparesTheConnection) {
    MYSQL* const db = db_connect_setup(error.data(), error.size());
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.statements(),
                ElementsAre(keysOff, versionQuery, miscQuery, "SET NAMES utf8"));
    close(db);
}

TEST_F(DbConnectSetup, KeepsTheConnectionWhereAStepFails) {
    for (const auto& [label, statement, answer] : failingSteps({1146, "Table doesn't exist"})) {
        SCOPED_TRACE(label);
        fakeServer = FakeServer::ofToday();
        fakeServer.answers[statement] = answer;
        MYSQL* const db = db_connect_setup(error.data(), error.size());
        EXPECT_NE(db, nullptr);
        expectMessage("DB error (" + label + ") 1146: Table doesn't exist");
        close(db);
        expectNothingLeftOpen();
    }
}

TEST_F(DbConnectSetup, ClosesAConnectionWhoseHandleReportsAnErrorAtOnce) {
    fakeServer.connectError = {2013, "Lost connection"};
    EXPECT_EQ(db_connect_setup(error.data(), error.size()), nullptr);
    EXPECT_THAT(fakeServer.calls, ElementsAre("init", connectCall("secret"), "close"));
}

TEST_F(DbSetNames, ReturnsMinusOneForAFailedStepAndZeroOtherwise) {
    MYSQL* const db = db_connect_admin(error.data(), error.size());
    EXPECT_EQ(db_set_names(db, error.data(), error.size()), 0);
    for (const auto& [label, statement, answer] : failingSteps({})) {
        SCOPED_TRACE(label);
        fakeServer.answers = FakeServer::ofToday().answers;
        fakeServer.answers[statement] = answer;
        EXPECT_EQ(db_set_names(db, error.data(), error.size()), -1);
    }
    close(db);
}

TEST_F(DbSetNames, LeavesAServerBeforeFourOneAlone) {
    const struct {
        const char* version;
        bool isLeftAlone;
    } cases[] = {
        {"3.23.58", true}, {"3.", true},      {"4.0.27", true},    {"4.0.27-log", true},
        {"4.0.", true},    {"4.0", false},    {"4.1.22", false},   {"5.0.45", false},
        {"33.1", false},   {"14.0.1", false}, {"40.0.1", false},   {"10.11.6-MariaDB", false},
        {"", false},       {"4.01", false},   {" 3.23.58", false},
    };
    for (const auto& [version, isLeftAlone] : cases) {
        SCOPED_TRACE(version);
        fakeServer = FakeServer::ofToday();
        fakeServer.answers[versionQuery] =
            resultSet({"Variable_name", "Value"}, {{"version", version}});
        MYSQL* const db = db_connect(error.data(), error.size());
        EXPECT_EQ(fakeServer.statements(),
                  isLeftAlone ? Statements({keysOff, versionQuery})
                              : Statements({keysOff, versionQuery, miscQuery, "SET NAMES utf8"}));
        EXPECT_EQ(db_utf8_mode(), isLeftAlone ? 0 : 1);
        close(db);
        expectNothingLeftOpen();
    }
}

TEST_F(DbSetNames, SucceedsOnAServerWithoutCharacterSets) {
    fakeServer.answers[versionQuery] =
        resultSet({"Variable_name", "Value"}, {{"version", "4.0.27"}});
    MYSQL* const db = db_connect_admin(error.data(), error.size());
    EXPECT_EQ(db_set_names(db, error.data(), error.size()), 0);
    close(db);
}

TEST_F(DbSetNames, ChoosesUtf8UnlessThePanelSaysFalseOrNothing) {
    const struct {
        Column stored;
        int mode;
    } cases[] = {
        {"true", 1},   {"1", 1},      {"no", 1},        {"FALSE", 1},      {"False", 1},
        {"false ", 1}, {" false", 1}, {"falsehood", 1}, {"f", 1},          {"0", 1},
        {" ", 1},      {"false", 0},  {"", 0},          {std::nullopt, 0},
    };
    for (const auto& [stored, mode] : cases) {
        SCOPED_TRACE(stored.value_or("null"));
        fakeServer = FakeServer::ofToday(stored);
        close(db_connect(error.data(), error.size()));
        EXPECT_EQ(fakeServer.statements().back(),
                  mode == 1 ? "SET NAMES utf8" : "SET NAMES binary");
        EXPECT_EQ(db_utf8_mode(), mode);
        expectNothingLeftOpen();
    }
}

TEST_F(DbSetNames, ChoosesBinaryWhereThePanelSaysNothing) {
    for (const Answer& answer : {Answer{}, resultSet({"val"}, {})}) {
        SCOPED_TRACE(answer.hasResult ? "no row" : "no result set");
        fakeServer.answers[miscQuery] = answer;
        close(db_connect(error.data(), error.size()));
        EXPECT_EQ(fakeServer.statements().back(), "SET NAMES binary");
        EXPECT_EQ(db_utf8_mode(), 0);
    }
}

TEST_F(DbSetNames, LooksAtTheFirstRowOnly) {
    fakeServer.answers[miscQuery] = resultSet({"val"}, {{"false"}, {"true"}});
    close(db_connect(error.data(), error.size()));
    EXPECT_EQ(db_utf8_mode(), 0);
}

TEST_F(DbSetNames, RecordsTheChoiceBeforeItIsCarriedOut) {
    close(db_connect(error.data(), error.size()));
    fakeServer = FakeServer::ofToday("false");
    fakeServer.answers["SET NAMES binary"] = rejected({1115, "Unknown character set"});
    close(db_connect(error.data(), error.size()));
    EXPECT_EQ(db_utf8_mode(), 0);
}

TEST_F(DbSetNames, LeavesTheModeWhereTheChoiceFails) {
    close(db_connect(error.data(), error.size()));
    for (const std::string& statement : {versionQuery, miscQuery}) {
        SCOPED_TRACE(statement);
        fakeServer = FakeServer::ofToday("false");
        fakeServer.answers[statement] = rejected({1146, "Table doesn't exist"});
        close(db_connect(error.data(), error.size()));
        EXPECT_EQ(db_utf8_mode(), 1);
    }
}

TEST_F(DbSetNames, CutsAMessageToTheBuffer) {
    fakeServer.answers[versionQuery] = rejected({1146, "Table doesn't exist"});
    error.fill('#');
    EXPECT_EQ(db_connect(error.data(), 10), nullptr);
    expectMessage("DB error ");
    EXPECT_EQ(error[10], '#');
}

TEST_F(KvrDbConnect, ConnectsAndPreparesTheConnection) {
    MYSQL* const db = kvrDbConnect(error.data(), error.size());
    EXPECT_NE(db, nullptr);
    EXPECT_THAT(fakeServer.statements(),
                ElementsAre(keysOff, versionQuery, miscQuery, "SET NAMES utf8"));
    close(db);
}

TEST_F(KvrDbConnect, PassesTheMessageOfAFailureOnAndPrintsNothing) {
    redirectFile(kvrShadowFile, "");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(kvrDbConnect(error.data(), error.size()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expectMessage("Unable to open admin password file: " + noSuchFile);
}

TEST_F(KvrDbConnectOrReport, ReturnsAPreparedConnectionAndPrintsNothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    MYSQL* const db = kvrDbConnectOrReport();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(fakeServer.statements(),
                ElementsAre(keysOff, versionQuery, miscQuery, "SET NAMES utf8"));
    close(db);
}

TEST_F(KvrDbConnectOrReport, PrintsTheMessageOfAFailureOnBothStreams) {
    fakeServer.initFails = true;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(kvrDbConnectOrReport(), nullptr);
    const std::string printed =
        "Unable to initialize MySQL connection structure: Cannot allocate memory\n"
        "System error 12: Cannot allocate memory\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
}

TEST_F(KvrDbConnectOrReport, PrintsAnEmptyLineWhereThereIsNothingToSay) {
    fakeServer.connectError = {2013, "Lost connection"}; // although connecting succeeded
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(kvrDbConnectOrReport(), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "\n");
}

TEST_F(KvrDbConnectOrReport, TakesAMessageAsItStands) {
    fakeServer.connectFails = true;
    fakeServer.connectError = {2002, "100%% %s"};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(kvrDbConnectOrReport(), nullptr);
    const std::string printed = "Unable to connect to Keldo Database: 100%% %s\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
}

TEST_F(KvrDbConnectOrReport, CutsAMessageToFourThousandAndNinetySixCharacters) {
    fakeServer.connectFails = true;
    fakeServer.connectError = {2002, std::string(5000, 'x')};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(kvrDbConnectOrReport(), nullptr);
    const std::string start = "Unable to connect to Keldo Database: ";
    const std::string printed = start + std::string(4096 - start.size(), 'x') + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
}

void expectUnknownBeforeTheFirstConnection() {
    EXPECT_EQ(db_utf8_mode(), -1);
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(KvrDbUtf8Mode, IsUnknownBeforeTheFirstConnection) {
    EXPECT_EXIT(runAndExit(expectUnknownBeforeTheFirstConnection), testing::ExitedWithCode(0), "");
}

void expectOneConnectionThatStaysOpen() {
    EXPECT_EQ(kvrDbUtf8Mode(), 1);
    const Statements calls = fakeServer.calls;
    EXPECT_THAT(calls,
                ElementsAre("init", connectCall("secret"), "query " + keysOff,
                            "query " + versionQuery, "query " + miscQuery, "query SET NAMES utf8"));
    EXPECT_EQ(kvrDbUtf8Mode(), 1);
    EXPECT_EQ(fakeServer.calls, calls);
    EXPECT_EQ(fakeServer.openHandles, 1);
}

TEST_F(KvrDbUtf8Mode, ConnectsOnceAndKeepsTheConnection) {
    EXPECT_EXIT(runAndExit(expectOneConnectionThatStaysOpen), testing::ExitedWithCode(0), "");
}

void expectNoConnectionOfItsOwn() {
    std::array<char, db_error_size> error{};
    mysql_close(db_connect(error.data(), error.size()));
    fakeServer.calls.clear();
    EXPECT_EQ(kvrDbUtf8Mode(), 1);
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(KvrDbUtf8Mode, ConnectsNotWhereTheModeIsKnown) {
    EXPECT_EXIT(runAndExit(expectNoConnectionOfItsOwn), testing::ExitedWithCode(0), "");
}

void expectAnAttemptAtEachCall() {
    fakeServer.connectFails = true;
    fakeServer.connectError = {2002, "no server"};
    const std::string printed = "Unable to connect to Keldo Database: no server\n";
    for (int i = 0; i < 2; ++i) {
        errno = 0;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(kvrDbUtf8Mode(), -1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
    }
}

TEST_F(KvrDbUtf8Mode, TriesAndReportsAgainAfterAFailure) {
    EXPECT_EXIT(runAndExit(expectAnAttemptAtEachCall), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace keldo::test
