// SPDX-License-Identifier: MIT

#include "db/panel_database.h"

#include "support/fake_database.h"
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
using Calls = std::vector<std::string>;
using Connector = MYSQL* (*)(char* error, size_t size);

const std::string versionQuery = "SHOW VARIABLES LIKE 'version'";
const std::string miscQuery = "SELECT val FROM misc WHERE param='mysql41_compatible'";
const std::string keysOff = "set foreign_key_checks=0";
const std::string noPasswordFile = "Unable to open admin password file: No such file or directory";
const Calls preparation = {keysOff, versionQuery, miscQuery, "SET NAMES utf8"};
const ClientError noTable = {1146, "Table doesn't exist"};
const ClientError lostConnection = {2013, "Lost connection"};

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

std::string connectCall(const std::string& password) {
    return "connect host=localhost user=admin password=" + password +
           " database=kvr port=0 socket=none flags=0";
}

Answer versionAnswer(const Column& version) {
    return resultSet({"Variable_name", "Value"}, {{"version", version}});
}

/// A step that fails while the character set is chosen: its label, and a statement with the answer
/// that makes it fail.
struct FailingStep {
    std::string label, statement;
    Answer answer;
};

std::vector<FailingStep> failingSteps(const ClientError& error) {
    std::vector<FailingStep> steps = {
        {"query version", versionQuery, rejected(error)},
        {"store query result", versionQuery, {}},
        {"fetch version row", versionQuery, resultSet({"Variable_name", "Value"}, {})},
        {"empty version result", versionQuery, versionAnswer(std::nullopt)},
        {"mysql41 compatible query", miscQuery, rejected(error)},
        {"set names query", "SET NAMES utf8", rejected(error)},
    };
    for (FailingStep& step : steps) {
        step.answer.error = error;
    }
    return steps;
}

class PanelDatabase : public testing::Test {
protected:
    PanelDatabase() {
        setPasswordFile("secret\n");
        errno = 0;
    }

    void setPasswordFile(const std::string& content) {
        redirectFile(kvrShadowFile, directory.write("shadow", content));
    }

    static void removePasswordFile() { redirectFile(kvrShadowFile, ""); }

    void failToConnect(const std::string& text) {
        server.reachable = false;
        server.connectError = {2002, text};
    }

    MYSQL* connect(Connector connector) { return connector(error.data(), error.size()); }

    /// Connects and closes the connection. Returns whether there was one.
    bool connects(Connector connector) {
        MYSQL* const db = connect(connector);
        if (db != nullptr) {
            db_client()->close(db);
        }
        EXPECT_EQ(server.openHandles, 0);
        EXPECT_EQ(server.openResults, 0);
        return db != nullptr;
    }

    /// Expects that `act` prints a text on standard output and again on standard error.
    template <typename Act> void expectPrinted(const std::string& text, Act act) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        act();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    }

    TemporaryDirectory directory;
    FakeDatabase server;
    std::array<char, db_error_size> error{};
};

class DbConnectAdmin : public PanelDatabase {
protected:
    /// The password that a password file with that content gives to the server.
    std::string passwordFrom(const std::string& content) {
        setPasswordFile(content);
        server.calls.clear();
        connects(db_connect_admin);
        const std::string call = server.calls.at(1);
        const std::string before = "password=";
        const std::size_t start = call.find(before) + before.size();
        return call.substr(start, call.find(" database=") - start);
    }
};

class DbConnect : public PanelDatabase {};
class DbSetNames : public PanelDatabase {};
class KvrDbConnectOrReport : public PanelDatabase {};

TEST(KvrShadowFile, IsThePasswordFileOfThePanel) {
    EXPECT_STREQ(kvrShadowFile, "/etc/kvr/.kvr.shadow");
}

TEST_F(DbConnectAdmin, ConnectsAndSendsNoStatement) {
    for (const Connector connector : {db_connect_admin, db_connect_checked}) {
        server.calls.clear();
        EXPECT_TRUE(connects(connector));
        EXPECT_THAT(server.calls, ElementsAre("init", connectCall("secret"), "close"));
        EXPECT_STREQ(error.data(), "");
    }
}

TEST_F(DbConnectAdmin, SetsTimeLimitsAndRefusesLocalFilesAndPasswordsInClear) {
    connects(db_connect_admin);
    std::map<int, std::string> expected = {{MYSQL_OPT_CONNECT_TIMEOUT, "10"},
                                           {MYSQL_OPT_READ_TIMEOUT, "60"},
                                           {MYSQL_OPT_WRITE_TIMEOUT, "60"},
                                           {MYSQL_OPT_LOCAL_INFILE, "0"}};
#if defined(MARIADB_PACKAGE_VERSION_ID) && MARIADB_PACKAGE_VERSION_ID >= 30300
    expected[MARIADB_OPT_RESTRICTED_AUTH] =
        "mysql_native_password,mysql_old_password,client_ed25519,parsec,"
        "caching_sha2_password,sha256_password,auth_gssapi_client";
#endif
    EXPECT_EQ(server.options, expected);
}

TEST_F(DbConnectAdmin, ConnectsWithALibraryThatTakesNoOptions) {
    client_library functions = *db_client();
    functions.options = nullptr;
    db_use_client(&functions);
    EXPECT_TRUE(connects(db_connect_admin));
    EXPECT_THAT(server.options, IsEmpty());
}

TEST_F(DbConnectAdmin, UsesTheFirstLineWithoutItsNewlineAsThePassword) {
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
        {std::string(98, 'x') + "\n", std::string(98, 'x')},
        {std::string(99, 'x') + "\n", std::string(99, 'x')},
        {std::string(99, 'x'), std::string(99, 'x')},
        {std::string(99, 'x') + "yz\n", std::string(99, 'x')},
    };
    for (const auto& [content, password] : cases) {
        SCOPED_TRACE(content);
        EXPECT_EQ(passwordFrom(content), password);
    }
}

TEST_F(DbConnectAdmin, ReportsAnUnusablePasswordFile) {
    const struct {
        std::string target, message;
    } cases[] = {
        {"", noPasswordFile},
        {directory.write("empty", ""), "Unable to read admin password file: Success"},
        {directory.path().string(), "Unable to read admin password file: Is a directory"},
    };
    for (const auto& [target, message] : cases) {
        SCOPED_TRACE(message);
        redirectFile(kvrShadowFile, target);
        errno = 0;
        EXPECT_FALSE(connects(db_connect_admin));
        EXPECT_EQ(error.data(), message);
        EXPECT_THAT(server.calls, IsEmpty());
    }
}

TEST_F(DbConnectAdmin, ClosesThePasswordFile) {
    for (const char* content : {"secret\n", ""}) {
        SCOPED_TRACE(content);
        setPasswordFile(content);
        const std::ptrdiff_t before = openDescriptors();
        connects(db_connect_admin);
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(DbConnectAdmin, ReadsThePasswordFileForEachConnection) {
    const int before = opensOf(kvrShadowFile);
    connects(db_connect_admin);
    connects(db_connect_admin);
    EXPECT_EQ(opensOf(kvrShadowFile), before + 2);
}

TEST_F(DbConnectAdmin, SetsErrnoIfThereIsNoMemoryForTheClientObject) {
    server.hasMemory = false;
    EXPECT_FALSE(connects(db_connect_admin));
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_STREQ(error.data(),
                 "Unable to initialize MySQL connection structure: Cannot allocate memory");
    EXPECT_THAT(server.calls, ElementsAre("init"));
}

TEST_F(DbConnectAdmin, ClosesTheHandleOfAFailedConnection) {
    failToConnect("Can't connect to local server");
    EXPECT_FALSE(connects(db_connect_admin));
    EXPECT_STREQ(error.data(),
                 "Unable to connect to Keldo Database: Can't connect to local server");
    EXPECT_THAT(server.calls, ElementsAre("init", connectCall("secret"), "close"));
}

TEST_F(DbConnectAdmin, KeepsAConnectionWhoseHandleReportsAnError) {
    server.connectError = lostConnection;
    EXPECT_TRUE(connects(db_connect_admin));
}

TEST_F(DbConnect, ClosesAConnectionWhoseHandleReportsAnErrorAfterConnecting) {
    server.connectError = lostConnection;
    for (const Connector connector : {db_connect_checked, db_connect, db_connect_setup}) {
        server.calls.clear();
        EXPECT_FALSE(connects(connector));
        EXPECT_THAT(server.calls, ElementsAre("init", connectCall("secret"), "close"));
        EXPECT_STREQ(error.data(), "");
    }
}

TEST_F(DbConnect, ProbeClosesTheConnectionAndReturnsTheErrorNumber) {
    unsigned int number = 7;
    EXPECT_EQ(db_probe(error.data(), error.size(), &number), 0);
    EXPECT_EQ(number, 0U);
    EXPECT_EQ(server.openHandles, 0);
    server.connectError = lostConnection;
    EXPECT_EQ(db_probe(error.data(), error.size(), &number), -1);
    EXPECT_EQ(number, lostConnection.number);
    failToConnect("no server");
    EXPECT_EQ(db_probe(error.data(), error.size(), &number), -1);
    EXPECT_EQ(number, 2002U);
    EXPECT_STREQ(error.data(), "Unable to connect to Keldo Database: no server");
    removePasswordFile();
    EXPECT_EQ(db_probe(error.data(), error.size(), &number), -1);
    EXPECT_EQ(number, 0U);
}

TEST_F(DbConnect, PassesOnAFailureToConnectAndPrintsNothing) {
    removePasswordFile();
    for (const Connector connector :
         {db_connect_checked, db_connect, db_connect_setup, kvrDbConnect}) {
        error.fill('\0');
        expectPrinted("", [&] { EXPECT_FALSE(connects(connector)); });
        EXPECT_EQ(error.data(), noPasswordFile);
    }
}

TEST_F(DbConnect, PreparesTheConnection) {
    for (const Connector connector : {db_connect, db_connect_setup, kvrDbConnect}) {
        server.calls.clear();
        EXPECT_TRUE(connects(connector));
        EXPECT_EQ(server.statements(), preparation);
        EXPECT_THAT(Calls(server.calls.begin(), server.calls.begin() + 2),
                    ElementsAre("init", connectCall("secret")));
        EXPECT_STREQ(error.data(), "");
    }
}

TEST_F(DbConnect, GoesOnIfForeignKeyChecksCannotBeSwitchedOff) {
    server.answers[keysOff] = rejected({1193, "Unknown system variable"});
    EXPECT_TRUE(connects(db_connect));
    EXPECT_EQ(server.statements(), preparation);
}

TEST_F(DbConnect, ClosesTheConnectionIfAFailedStepLeavesAnErrorButSetupKeepsIt) {
    for (const Connector connector : {db_connect, db_connect_setup}) {
        for (const auto& [label, statement, answer] : failingSteps(noTable)) {
            SCOPED_TRACE(label);
            server.reset();
            server.answers[statement] = answer;
            EXPECT_EQ(connects(connector), connector == db_connect_setup);
            EXPECT_EQ(error.data(), "DB error (" + label + ") 1146: Table doesn't exist");
            EXPECT_EQ(server.statements().back(), statement);
        }
    }
}

TEST_F(DbConnect, KeepsTheConnectionIfAFailedStepLeavesNoError) {
    for (const auto& [label, statement, answer] : failingSteps({})) {
        SCOPED_TRACE(label);
        server.reset();
        server.answers[statement] = answer;
        EXPECT_TRUE(connects(db_connect));
        EXPECT_EQ(error.data(), "DB error (" + label + "): unknown error");
    }
}

TEST_F(DbConnect, CutsAMessageToTheBuffer) {
    const auto connectInto = [this](size_t size) {
        error.fill('#');
        EXPECT_EQ(db_connect(error.data(), size), nullptr);
        EXPECT_EQ(error[size], '#');
        return std::string(error.data());
    };
    server.answers[versionQuery] = rejected(noTable);
    EXPECT_EQ(connectInto(10), "DB error ");
    removePasswordFile();
    EXPECT_EQ(connectInto(15), "Unable to open");
}

TEST_F(DbSetNames, ReturnsMinusOneForAFailedStepAndZeroOtherwise) {
    MYSQL* const db = connect(db_connect_admin);
    const auto setNames = [&] { return db_set_names(db, error.data(), error.size()); };
    EXPECT_EQ(setNames(), 0);
    server.answers[versionQuery] = versionAnswer("4.0.27");
    EXPECT_EQ(setNames(), 0);
    for (const auto& [label, statement, answer] : failingSteps({})) {
        SCOPED_TRACE(label);
        server.reset();
        server.answers[statement] = answer;
        EXPECT_EQ(setNames(), -1);
    }
    db_client()->close(db);
}

TEST_F(DbSetNames, ChoosesNoCharacterSetOnAServerBeforeVersion41) {
    const struct {
        const char* version;
        bool isOld;
    } cases[] = {
        {"3.23.58", true}, {"3.", true},      {"4.0.27", true},    {"4.0.27-log", true},
        {"4.0.", true},    {"4.0", false},    {"4.1.22", false},   {"5.0.45", false},
        {"33.1", false},   {"14.0.1", false}, {"40.0.1", false},   {"10.11.6-MariaDB", false},
        {"", false},       {"4.01", false},   {" 3.23.58", false},
    };
    for (const auto& [version, isOld] : cases) {
        SCOPED_TRACE(version);
        server.reset();
        server.answers[versionQuery] = versionAnswer(version);
        EXPECT_TRUE(connects(db_connect));
        EXPECT_EQ(server.statements(), isOld ? Calls({keysOff, versionQuery}) : preparation);
        EXPECT_EQ(db_utf8_mode(), isOld ? 0 : 1);
    }
}

TEST_F(DbSetNames, ChoosesUtf8UnlessThePanelSaysFalseOrNothing) {
    const auto stored = [](const Column& value) { return resultSet({"val"}, {{value}}); };
    const struct {
        std::string what;
        Answer answer;
        int mode;
    } cases[] = {
        {"true", stored("true"), 1},
        {"1", stored("1"), 1},
        {"0", stored("0"), 1},
        {"no", stored("no"), 1},
        {"FALSE", stored("FALSE"), 1},
        {"False", stored("False"), 1},
        {"blank after", stored("false "), 1},
        {"blank before", stored(" false"), 1},
        {"falsehood", stored("falsehood"), 1},
        {"f", stored("f"), 1},
        {"blank", stored(" "), 1},
        {"false", stored("false"), 0},
        {"empty", stored(""), 0},
        {"null", stored(std::nullopt), 0},
        {"no row", resultSet({"val"}, {}), 0},
        {"no result set", {}, 0},
        {"only the first row counts", resultSet({"val"}, {{"false"}, {"true"}}), 0},
    };
    for (const auto& [what, answer, mode] : cases) {
        SCOPED_TRACE(what);
        server.reset();
        server.answers[miscQuery] = answer;
        EXPECT_TRUE(connects(db_connect));
        EXPECT_EQ(server.statements().back(), mode == 1 ? "SET NAMES utf8" : "SET NAMES binary");
        EXPECT_EQ(db_utf8_mode(), mode);
    }
}

TEST_F(DbSetNames, RecordsTheChoiceEvenIfSetNamesThenFails) {
    connects(db_connect);
    server.reset("false");
    server.answers["SET NAMES binary"] = rejected({1115, "Unknown character set"});
    EXPECT_FALSE(connects(db_connect));
    EXPECT_EQ(db_utf8_mode(), 0);
}

TEST_F(DbSetNames, KeepsTheModeIfTheChoiceFails) {
    connects(db_connect);
    for (const std::string& statement : {versionQuery, miscQuery}) {
        SCOPED_TRACE(statement);
        server.reset("false");
        server.answers[statement] = rejected(noTable);
        EXPECT_FALSE(connects(db_connect));
        EXPECT_EQ(db_utf8_mode(), 1);
    }
}

TEST_F(KvrDbConnectOrReport, ReturnsAPreparedConnectionAndPrintsNothing) {
    MYSQL* db = nullptr;
    expectPrinted("", [&] { db = kvrDbConnectOrReport(); });
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(server.statements(), preparation);
    db_client()->close(db);
}

TEST_F(KvrDbConnectOrReport, PrintsTheMessageOfAFailureUnchangedOnBothStreams) {
    const std::string start = "Unable to connect to Keldo Database: ";
    const struct {
        std::string text, printed;
    } cases[] = {
        {"100%% %s", start + "100%% %s\n"},
        {std::string(5000, 'x'), start + std::string(db_error_size - 1 - start.size(), 'x') + "\n"},
    };
    for (const auto& [text, printed] : cases) {
        failToConnect(text);
        expectPrinted(printed, [] { EXPECT_EQ(kvrDbConnectOrReport(), nullptr); });
    }
}

TEST_F(KvrDbConnectOrReport, AddsTheSystemErrorOfAFailure) {
    server.hasMemory = false;
    expectPrinted("Unable to initialize MySQL connection structure: Cannot allocate memory\n"
                  "System error 12: Cannot allocate memory\n",
                  [] { EXPECT_EQ(kvrDbConnectOrReport(), nullptr); });
}

TEST_F(KvrDbConnectOrReport, PrintsAnEmptyLineForAFailureWithoutAMessage) {
    server.connectError = lostConnection; // although connecting succeeds
    expectPrinted("\n", [] { EXPECT_EQ(kvrDbConnectOrReport(), nullptr); });
}

/// The mode is unknown only until the first connection of a process, so each of these tests runs in
/// a new process.
class KvrDbUtf8Mode : public PanelDatabase {
protected:
    KvrDbUtf8Mode() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// Runs `body` in a new process and ends the process, without destroying this object.
    template <typename Body> [[noreturn]] void runAndExit(Body body) {
        body();
        std::filesystem::remove_all(directory.path());
        std::exit(HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }

    template <typename Body> void inNewProcess(Body body) {
        EXPECT_EXIT(runAndExit(body), testing::ExitedWithCode(EXIT_SUCCESS), "");
    }
};

TEST_F(KvrDbUtf8Mode, IsUnknownBeforeTheFirstConnection) {
    inNewProcess([this] {
        EXPECT_EQ(db_utf8_mode(), -1);
        EXPECT_THAT(server.calls, IsEmpty());
    });
}

TEST_F(KvrDbUtf8Mode, ConnectsOnceAndKeepsTheConnectionOpen) {
    inNewProcess([this] {
        EXPECT_EQ(kvrDbUtf8Mode(), 1);
        EXPECT_EQ(server.statements(), preparation);
        const Calls calls = server.calls;
        EXPECT_EQ(kvrDbUtf8Mode(), 1);
        EXPECT_EQ(server.calls, calls);
        EXPECT_EQ(server.openHandles, 1);
    });
}

TEST_F(KvrDbUtf8Mode, DoesNotConnectIfTheModeIsKnown) {
    inNewProcess([this] {
        connects(db_connect);
        server.calls.clear();
        EXPECT_EQ(kvrDbUtf8Mode(), 1);
        EXPECT_THAT(server.calls, IsEmpty());
    });
}

TEST_F(KvrDbUtf8Mode, TriesAndReportsAgainAfterAFailure) {
    inNewProcess([this] {
        failToConnect("no server");
        for (int i = 0; i < 2; ++i) {
            errno = 0;
            expectPrinted("Unable to connect to Keldo Database: no server\n",
                          [] { EXPECT_EQ(kvrDbUtf8Mode(), -1); });
        }
    });
}

} // namespace
} // namespace keldo::test
