// SPDX-License-Identifier: MIT

#include "db/cpp_mysql.h"

#include "db/panel_database.h"
#include "fake_client_library.h"
#include "support/random_texts.h"
#include "support/redirected_files.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <new>
#include <regex>
#include <type_traits>

namespace keldo::mysql {
namespace {

using test::Answer;
using test::fakeServer;
using test::FakeServer;
using test::rejected;
using test::resultSet;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_base_of_v<std::exception, mError>);
static_assert(!std::is_polymorphic_v<Connection>);
static_assert(!std::is_copy_constructible_v<Connection> && !std::is_copy_assignable_v<Connection>);
static_assert(!std::is_copy_constructible_v<Result> && !std::is_copy_assignable_v<Result>);

/// What the exception of `act` says; fails the test where there is none.
template <typename Act> std::string errorOf(Act act) {
    try {
        act();
    } catch (const mError& error) {
        return error.what();
    }
    ADD_FAILURE() << "no mError";
    return "";
}

/// A panel database of today that lets the panel in.
class QueryLayer : public testing::Test {
protected:
    QueryLayer() {
        fakeServer = FakeServer::ofToday();
        test::redirectFile(kvrShadowFile, directory.write("shadow", "secret\n"));
        errno = 0;
    }

    /// A connection with the statements that prepare it forgotten.
    static std::unique_ptr<Connection> connected() {
        auto connection = std::make_unique<Connection>(true);
        fakeServer.calls.clear();
        return connection;
    }

    test::TemporaryDirectory directory;
};

class MError : public QueryLayer {};
class ConnectionHandle : public QueryLayer {};
class ConnectionEscape : public QueryLayer {};
class ConnectionExecute : public QueryLayer {};
class ConnectionSelfTest : public QueryLayer {};
class ResultFetch : public QueryLayer {};

/// A connection whose statement is looked at by executing it.
class ConnectionInsertion : public QueryLayer {
protected:
    std::string statement() {
        fakeServer.calls.clear();
        connection.execute();
        return fakeServer.statements().at(0);
    }

    Connection connection{true};
};

TEST_F(MError, SaysTheTextThatItIsGiven) {
    EXPECT_STREQ(mError("any text").what(), "any text");
}

TEST_F(MError, SaysNothingForAnEmptyText) {
    EXPECT_STREQ(mError("").what(), "");
}

TEST_F(MError, SaysWhatTheHandleReports) {
    const auto connection = connected();
    fakeServer.answers["x"] = rejected({1064, "syntax error"});
    mysql_query(connection->handle(), "x");
    EXPECT_STREQ(mError(connection->handle(), "the context").what(),
                 "Mysql error 1064: syntax error\nthe context");
}

TEST_F(MError, SaysUnknownWhereTheHandleReportsNothing) {
    const auto connection = connected();
    EXPECT_STREQ(mError(connection->handle(), "the context").what(), "Unknown error\nthe context");
}

TEST_F(MError, TakesPercentSignsAsTheyStand) {
    const auto connection = connected();
    fakeServer.answers["x"] = rejected({1, "100%s"});
    mysql_query(connection->handle(), "x");
    EXPECT_STREQ(mError(connection->handle(), "%n").what(), "Mysql error 1: 100%s\n%n");
}

TEST_F(ConnectionHandle, ConnectsAtOnceIfAsked) {
    const Connection connection(true);
    EXPECT_EQ(fakeServer.calls.size(), 6U);
    EXPECT_EQ(fakeServer.openHandles, 1);
}

TEST_F(ConnectionHandle, ConnectsAtFirstUseOtherwise) {
    Connection connection(false);
    EXPECT_THAT(fakeServer.calls, IsEmpty());
    EXPECT_NE(connection.handle(), nullptr);
    EXPECT_EQ(fakeServer.openHandles, 1);
}

TEST_F(ConnectionHandle, StaysTheSame) {
    const auto connection = connected();
    MYSQL* const handle = connection->handle();
    EXPECT_EQ(connection->handle(), handle);
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(ConnectionHandle, IsClosedByTheDestructor) {
    connected().reset();
    EXPECT_THAT(fakeServer.calls, ElementsAre("close"));
}

TEST_F(ConnectionHandle, IsNotClosedWhereNothingConnected) {
    { const Connection connection(false); }
    EXPECT_THAT(fakeServer.calls, IsEmpty());
}

TEST_F(ConnectionHandle, ThrowsAndPrintsTheReasonWhereNoConnectionCanBeMade) {
    fakeServer.connectFails = true;
    fakeServer.connectError = {2002, "no server"};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf([] { const Connection connection(true); }), "connection failed");
    const std::string printed = "Unable to connect to Keldo Database: no server\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
}

TEST_F(ConnectionHandle, IsTriedAgainAfterAFailure) {
    Connection connection(false);
    fakeServer.initFails = true;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_THROW(connection.handle(), mError);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    fakeServer.initFails = false;
    EXPECT_NE(connection.handle(), nullptr);
}

TEST(ConnectionEscapeName, DoublesEveryBackquote) {
    const struct {
        const char *text, *escaped;
    } cases[] = {
        {"", ""},           {"aaaa", "aaaa"},  {"`", "``"},
        {"``", "````"},     {"```", "``````"}, {"a`aaa", "a``aaa"},
        {"`a", "``a"},      {"a`", "a``"},     {"a``aa`a", "a````aa``a"},
        {"a'b\\", "a'b\\"},
    };
    for (const auto& [text, escaped] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Connection::escape_name(text), escaped);
    }
}

TEST(ConnectionEscapeName, CanBeUndone) {
    keldo::test::RandomTexts random;
    for (int i = 0; i < 2000; ++i) {
        const std::string text = random.text("`a'\\", 12);
        const std::string escaped = Connection::escape_name(text.c_str());
        std::string undone;
        for (std::size_t at = 0; at < escaped.size(); ++at) {
            if (escaped[at] == '`') {
                ASSERT_EQ('`', escaped[++at]) << escaped; // none stands alone
            }
            undone += escaped[at];
        }
        ASSERT_EQ(text, undone);
    }
}

TEST(ConnectionEscapeName, TakesAsMuchAsTheLengthSays) {
    EXPECT_EQ(Connection::escape_name("a`b`c", 3), "a``b");
    EXPECT_EQ(Connection::escape_name("a\0`b", 4), std::string("a\0``b", 5));
    EXPECT_EQ(Connection::escape_name("a`b\0c", 0), "a``b");
}

TEST_F(ConnectionEscape, EscapesByTheLibrary) {
    const auto connection = connected();
    EXPECT_EQ(connection->escape("it's a \\"), "it\\'s a \\\\");
    EXPECT_EQ(connection->escape(""), "");
}

TEST_F(ConnectionEscape, TakesAsMuchAsTheLengthSays) {
    const auto connection = connected();
    EXPECT_EQ(connection->escape("'''", 2), "\\'\\'");
    EXPECT_EQ(connection->escape("'\0'", 3), std::string("\\'\0\\'", 5));
    EXPECT_EQ(connection->escape("a\0b", 0), "a");
}

TEST_F(ConnectionEscape, HasRoomForATextOfNothingButQuotes) {
    const auto connection = connected();
    const std::string quotes(1000, '\'');
    EXPECT_EQ(connection->escape(quotes.c_str()).size(), 2000U);
}

TEST_F(ConnectionEscape, ConnectsFirst) {
    Connection connection(false);
    EXPECT_EQ(connection.escape("x"), "x");
    EXPECT_EQ(fakeServer.openHandles, 1);
}

TEST_F(ConnectionEscape, ThrowsBadAllocWithoutMemoryForTheBuffer) {
    const auto connection = connected();
    fakeServer.mallocFails = true;
    bool thrown = false;
    try {
        connection->escape("x");
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    fakeServer.mallocFails = false;
    EXPECT_TRUE(thrown);
}

TEST_F(ConnectionEscape, ThrowsWhereTheLibraryCannotEscape) {
    const auto connection = connected();
    fakeServer.escapeFails = true;
    EXPECT_EQ(errorOf([&] { connection->escape("x"); }), "Unknown error\n escaping value");
}

TEST_F(ConnectionInsertion, StartsWithAnEmptyStatementAndTakesTextAsItStands) {
    connection << "a'b`c" << std::string("\0d", 2);
    EXPECT_EQ(statement(), std::string("a'b`c\0d", 7));
}

TEST_F(ConnectionInsertion, EscapesTheNextItemOnlyByTheMode) {
    connection << "`" << Connection::name << "a`'"
               << "`='" << Connection::value << "a`'"
               << "'";
    EXPECT_EQ(statement(), "`a``'`='a`\\''");
}

TEST_F(ConnectionInsertion, TakesTextAsItStandsWhereAsked) {
    connection << Connection::value << Connection::verbatim << "it's";
    EXPECT_EQ(statement(), "it's");
}

TEST_F(ConnectionInsertion, DropsAnItemInAnUnknownMode) {
    const auto unknown = static_cast<Connection::InsertionMode>(3);
    connection << unknown << "dropped" << unknown << 1 << unknown << 2.5 << "kept";
    EXPECT_EQ(statement(), "kept");
}

TEST_F(ConnectionInsertion, EscapesWholeTextsWithZeroBytes) {
    connection << Connection::name << std::string("`\0`", 3);
    connection << Connection::value << std::string("'\0'", 3);
    EXPECT_EQ(statement(), std::string("``\0``\\'\0\\'", 10));
}

TEST_F(ConnectionInsertion, WritesIntegersInDecimal) {
    connection << 3 << " " << 0 << " " << INT_MIN << " " << INT_MAX;
    EXPECT_EQ(statement(), "3 0 -2147483648 2147483647");
}

TEST_F(ConnectionInsertion, WritesADoubleWithSixDecimals) {
    const struct {
        double number;
        const char* text;
    } cases[] = {
        {2.5, "2.500000"},
        {0.0, "0.000000"},
        {-1.0, "-1.000000"},
        {0.0000005, "0.000000"},
        {1.0 / 3, "0.333333"},
        {2.0 / 3, "0.666667"},
        {1e15, "1000000000000000.000000"},
        {std::numeric_limits<double>::infinity(), "inf"},
    };
    for (const auto& [number, text] : cases) {
        SCOPED_TRACE(text);
        connection << number;
        EXPECT_EQ(statement(), text);
    }
}

TEST_F(ConnectionInsertion, WritesTheLargestDoubleWhole) {
    connection << -std::numeric_limits<double>::max();
    const std::string text = statement();
    EXPECT_EQ(text.size(), 317U);
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), -std::numeric_limits<double>::max());
}

TEST_F(ConnectionInsertion, WritesNumbersAlikeInEveryLocale) {
    setenv("LOCPATH", KELDO_TEST_LOCALES "/utf8", 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE"), nullptr);
    connection << 1234567 << " " << 1234567.5;
    const std::string written = statement();
    setlocale(LC_ALL, "C");
    EXPECT_EQ(written, "1234567 1234567.500000");
}

TEST_F(ConnectionInsertion, PutsNumbersThroughTheModeToo) {
    connection << Connection::name << 3 << Connection::value << 2.5 << "'";
    EXPECT_EQ(statement(), "32.500000'");
}

TEST_F(ConnectionExecute, SendsAnyBytes) {
    const auto connection = connected();
    const std::string bytes("SELECT '\0\xff'", 11);
    *connection << bytes;
    connection->execute();
    EXPECT_EQ(fakeServer.statements(), std::vector<std::string>{bytes});
}

TEST_F(ConnectionExecute, StartsANewStatement) {
    const auto connection = connected();
    *connection << "first";
    connection->execute();
    *connection << "second";
    connection->execute();
    connection->execute();
    EXPECT_THAT(fakeServer.statements(), ElementsAre("first", "second", ""));
}

TEST_F(ConnectionExecute, SetsTheModeBack) {
    const auto connection = connected();
    *connection << Connection::value;
    connection->execute();
    *connection << "it's";
    connection->execute();
    EXPECT_EQ(fakeServer.statements().back(), "it's");
}

TEST_F(ConnectionExecute, ThrowsWhatTheServerSaysOfARejectedStatement) {
    const auto connection = connected();
    fakeServer.answers["x"] = rejected({1064, "syntax error"});
    *connection << "x";
    EXPECT_EQ(errorOf([&] { connection->execute(); }),
              "Mysql error 1064: syntax error\n executing query");
}

TEST_F(ConnectionExecute, ThrowsUnknownErrorWhereTheLibraryReportsNone) {
    const auto connection = connected();
    fakeServer.answers["x"] = rejected({});
    *connection << "x";
    EXPECT_EQ(errorOf([&] { connection->execute(); }), "Unknown error\n executing query");
}

TEST_F(ConnectionExecute, LeavesTheConnectionUsableAfterAFailure) {
    const auto connection = connected();
    fakeServer.answers["x"] = rejected({1064, "syntax error"});
    *connection << "x";
    EXPECT_THROW(connection->execute(), mError);
    *connection << "y";
    connection->execute();
    EXPECT_EQ(fakeServer.statements().back(), "y");
}

TEST_F(ConnectionSelfTest, PrintsFourNamesAndTheirEscapesOnStandardError) {
    testing::internal::CaptureStderr();
    Connection::test();
    const std::string printed = testing::internal::GetCapturedStderr();
    const std::regex lineNumber(R"(\(cpp_mysql\.cpp:[1-9][0-9]*\))");
    const std::string operation = "static void keldo::mysql::Connection::test()(LINE)";
    EXPECT_EQ(std::regex_replace(printed, lineNumber, "(LINE)"),
              operation + "conn.escape_name(\"aaaa\")=aaaa\n" + //
                  operation + "conn.escape_name(\"a`aaa\")=a``aaa\n" + operation +
                  "conn.escape_name(\"a``aaa\")=a````aaa\n" + operation +
                  "conn.escape_name(\"a``aa`a\")=a````aa``a\n");
}

TEST_F(ConnectionSelfTest, NamesTheLineOfEachCall) {
    testing::internal::CaptureStderr();
    Connection::test();
    const std::string printed = testing::internal::GetCapturedStderr();
    const std::regex line(R"(cpp_mysql\.cpp:([0-9]+))");
    int last = 0;
    for (std::sregex_iterator at(printed.begin(), printed.end(), line), end; at != end; ++at) {
        const int number = std::stoi((*at)[1]);
        EXPECT_GT(number, last);
        last = number;
    }
}

TEST_F(ConnectionSelfTest, ConnectsAndCloses) {
    testing::internal::CaptureStderr();
    Connection::test();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(fakeServer.calls.front(), "init");
    EXPECT_EQ(fakeServer.calls.back(), "close");
}

TEST_F(ResultFetch, ReadsRowByRowByTheNamesOfTheFields) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"id", "name"}, {{"1", "web"}, {"2", "dns"}});
    *connection << "q";
    Result result(*connection);
    Row row;
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["id"].text + row["name"].text, "1web");
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["id"].text + row["name"].text, "2dns");
    EXPECT_FALSE(result.fetch(row));
}

TEST_F(ResultFetch, LeavesTheRowAsItWasWhereThereIsNone) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"name"}, {{"web"}});
    *connection << "q";
    Result result(*connection);
    Row row;
    EXPECT_TRUE(result.fetch(row));
    EXPECT_FALSE(result.fetch(row));
    EXPECT_EQ(row["name"].text, "web");
}

TEST_F(ResultFetch, EndsAtOnceForAStatementThatReturnsNoRows) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"name"}, {});
    *connection << "q";
    Result result(*connection);
    Row row;
    EXPECT_FALSE(result.fetch(row));
}

TEST_F(ResultFetch, TellsNullFromAnEmptyText) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"null", "empty", "text"}, {{std::nullopt, "", "x"}});
    *connection << "q";
    Result result(*connection);
    Row row;
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["null"].text, "");
    EXPECT_TRUE(row["null"].isNull);
    EXPECT_EQ(row["empty"].text, "");
    EXPECT_FALSE(row["empty"].isNull);
    EXPECT_FALSE(row["text"].isNull);
}

TEST_F(ResultFetch, TakesAsManyBytesAsTheLibrarySays) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"bytes"}, {{std::string("a\0b", 3)}});
    *connection << "q";
    Result result(*connection);
    Row row;
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["bytes"].text, std::string("a\0b", 3));
}

TEST_F(ResultFetch, TakesTheTextUpToAZeroByteWhereTheLibrarySaysNoLength) {
    const auto connection = connected();
    Answer answer = resultSet({"bytes"}, {{std::string("ab\0c", 4)}});
    answer.knowsLengths = false;
    fakeServer.answers["q"] = answer;
    *connection << "q";
    Result result(*connection);
    Row row;
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["bytes"].text, "ab");
    EXPECT_FALSE(row["bytes"].isNull);
}

TEST_F(ResultFetch, ForgetsTheFieldsOfTheRowBefore) {
    const auto connection = connected();
    fakeServer.answers["first"] = resultSet({"a"}, {{"1"}});
    fakeServer.answers["second"] = resultSet({"b"}, {{"2"}});
    Row row;
    *connection << "first";
    EXPECT_TRUE(Result(*connection).fetch(row));
    *connection << "second";
    EXPECT_TRUE(Result(*connection).fetch(row));
    EXPECT_EQ(row["b"].text, "2");
    EXPECT_EQ(errorOf([&] { row["a"]; }), "No field named a in result set");
}

TEST_F(ResultFetch, ThrowsForTwoFieldsOfOneName) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"name", "id", "name"}, {{"a", "b", "c"}});
    *connection << "q";
    Result result(*connection);
    Row row;
    EXPECT_EQ(errorOf([&] { result.fetch(row); }), "duplicated field name in query");
}

TEST_F(ResultFetch, TellsFieldNamesApartByCase) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"name", "Name"}, {{"a", "b"}});
    *connection << "q";
    Result result(*connection);
    Row row;
    ASSERT_TRUE(result.fetch(row));
    EXPECT_EQ(row["Name"].text, "b");
    EXPECT_EQ(errorOf([&] { row["NAME"]; }), "No field named NAME in result set");
}

TEST(Row, HasNoFieldsAtFirst) {
    const Row row;
    EXPECT_EQ(errorOf([&] { row["name"]; }), "No field named name in result set");
    EXPECT_EQ(errorOf([&] { row[""]; }), "No field named  in result set");
}

TEST_F(ResultFetch, ThrowsForAStatementWithoutAResultSet) {
    const auto connection = connected();
    *connection << "SET @a=1";
    EXPECT_EQ(errorOf([&] { const Result result(*connection); }),
              "Unknown error\n fetching result");
}

TEST_F(ResultFetch, ThrowsWhatTheHandleReportsWhereTheResultCannotBeStored) {
    const auto connection = connected();
    fakeServer.answers["q"].error = {2008, "out of memory"};
    *connection << "q";
    EXPECT_EQ(errorOf([&] { const Result result(*connection); }),
              "Mysql error 2008: out of memory\n fetching result");
}

TEST_F(ResultFetch, ThrowsForARejectedStatement) {
    const auto connection = connected();
    fakeServer.answers["q"] = rejected({1064, "syntax error"});
    *connection << "q";
    EXPECT_EQ(errorOf([&] { const Result result(*connection); }),
              "Mysql error 1064: syntax error\n executing query");
}

TEST_F(ResultFetch, FreesTheResultAndLeavesTheConnectionOpen) {
    const auto connection = connected();
    fakeServer.answers["q"] = resultSet({"name", "name"}, {{"a", "b"}});
    {
        *connection << "q";
        Result result(*connection);
        Row row;
        EXPECT_THROW(result.fetch(row), mError);
        EXPECT_EQ(fakeServer.openResults, 1);
    }
    EXPECT_EQ(fakeServer.openResults, 0);
    EXPECT_EQ(fakeServer.openHandles, 1);
}

TEST_F(ResultFetch, RunsStatementsOneAfterAnotherOnOneConnection) {
    const auto connection = connected();
    fakeServer.answers["first"] = resultSet({"a"}, {{"1"}});
    fakeServer.answers["second"] = resultSet({"a"}, {{"2"}});
    Row row;
    for (const char* statement : {"first", "second"}) {
        *connection << statement;
        EXPECT_TRUE(Result(*connection).fetch(row));
    }
    EXPECT_EQ(row["a"].text, "2");
    EXPECT_THAT(fakeServer.calls, ElementsAre("query first", "query second"));
}

} // namespace
} // namespace keldo::mysql
