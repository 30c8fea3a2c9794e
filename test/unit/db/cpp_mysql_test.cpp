// SPDX-License-Identifier: MIT

#include "db/cpp_mysql.h"

#include "db/panel_database.h"
#include "support/fake_database.h"
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

namespace {

bool mallocFails = false;

} // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
}

void* __wrap_malloc(size_t size) {
    return mallocFails ? nullptr : __real_malloc(size);
}

namespace keldo::mysql {
namespace {

using test::Answer;
using test::rejected;
using test::resultSet;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_base_of_v<std::exception, mError>);
static_assert(!std::is_polymorphic_v<Connection>);
static_assert(!std::is_copy_constructible_v<Connection> && !std::is_copy_assignable_v<Connection>);
static_assert(!std::is_copy_constructible_v<Result> && !std::is_copy_assignable_v<Result>);

/// Returns the text of the mError that `act` throws. Fails the test if it throws none.
template <typename Act> std::string errorOf(Act act) {
    try {
        act();
    } catch (const mError& error) {
        return error.what();
    }
    ADD_FAILURE() << "no mError";
    return "";
}

class QueryLayer : public testing::Test {
protected:
    QueryLayer() {
        test::redirectFile(kvrShadowFile, directory.write("shadow", "secret\n"));
        errno = 0;
    }

    /// Returns a connection and forgets the statements that prepare it.
    std::unique_ptr<Connection> connected() {
        auto connection = std::make_unique<Connection>(true);
        server.calls.clear();
        return connection;
    }

    test::TemporaryDirectory directory;
    test::FakeDatabase server;
};

class MError : public QueryLayer {};
class ConnectionHandle : public QueryLayer {};
class ConnectionEscape : public QueryLayer {};
class ConnectionExecute : public QueryLayer {};
class ConnectionSelfTest : public QueryLayer {};

/// A connection whose statement is read by executing it.
class ConnectionInsertion : public QueryLayer {
protected:
    std::string statement() {
        server.calls.clear();
        connection.execute();
        return server.statements().at(0);
    }

    Connection connection{true};
};

/// The answer to the statement "q".
class ResultFetch : public QueryLayer {
protected:
    Result query(const Answer& answer) {
        server.answers["q"] = answer;
        connection << "q";
        return Result(connection);
    }

    /// Reads the only row of an answer.
    void read(const Answer& answer) {
        Result result = query(answer);
        ASSERT_TRUE(result.fetch(row));
        EXPECT_FALSE(result.fetch(row));
    }

    Connection connection{true};
    Row row;
};

TEST_F(MError, HoldsTheGivenText) {
    EXPECT_STREQ(mError("any text").what(), "any text");
    EXPECT_STREQ(mError("").what(), "");
}

TEST_F(MError, HoldsTheErrorThatTheHandleReports) {
    const auto connection = connected();
    const struct {
        test::ClientError error;
        const char *context, *message;
    } cases[] = {
        {{1064, "syntax error"}, "the context", "Mysql error 1064: syntax error\nthe context"},
        {{1, "100%s"}, "%n", "Mysql error 1: 100%s\n%n"},
        {{}, "the context", "Unknown error\nthe context"},
    };
    for (const auto& [error, context, message] : cases) {
        SCOPED_TRACE(message);
        server.answers["x"] = rejected(error);
        db_client()->query(connection->handle(), "x");
        EXPECT_STREQ(mError(connection->handle(), context).what(), message);
    }
}

TEST_F(ConnectionHandle, ConnectsAtOnceIfAsked) {
    const Connection connection(true);
    EXPECT_EQ(server.calls.size(), 6U);
    EXPECT_EQ(server.openHandles, 1);
}

TEST_F(ConnectionHandle, ConnectsOnceOnFirstUseOtherwise) {
    Connection connection(false);
    EXPECT_THAT(server.calls, IsEmpty());
    MYSQL* const handle = connection.handle();
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(connection.handle(), handle);
    EXPECT_EQ(server.openHandles, 1);
}

TEST_F(ConnectionHandle, IsClosedByTheDestructorIfItIsOpen) {
    connected().reset();
    EXPECT_THAT(server.calls, ElementsAre("close"));
    server.calls.clear();
    { const Connection connection(false); }
    EXPECT_THAT(server.calls, IsEmpty());
}

TEST_F(ConnectionHandle, ThrowsAndPrintsTheReasonOfAFailureAndTriesAgain) {
    Connection connection(false);
    server.reachable = false;
    server.connectError = {2002, "no server"};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf([&] { connection.handle(); }), "connection failed");
    const std::string printed = "Unable to connect to Keldo Database: no server\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
    server.reachable = true;
    server.connectError = {};
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

TEST(ConnectionEscapeName, IsReversible) {
    keldo::test::RandomTexts random;
    for (int i = 0; i < 2000; ++i) {
        const std::string text = random.text("`a'\\", 12);
        const std::string escaped = Connection::escape_name(text.c_str());
        std::string undone;
        for (std::size_t at = 0; at < escaped.size(); ++at) {
            if (escaped[at] == '`') {
                ASSERT_EQ('`', escaped[++at]) << escaped; // a pair
            }
            undone += escaped[at];
        }
        ASSERT_EQ(text, undone);
    }
}

TEST(ConnectionEscapeName, EscapesAsManyBytesAsTheLengthSays) {
    EXPECT_EQ(Connection::escape_name("a`b`c", 3), "a``b");
    EXPECT_EQ(Connection::escape_name("a\0`b", 4), std::string("a\0``b", 5));
    EXPECT_EQ(Connection::escape_name("a`b\0c", 0), "a``b");
}

TEST_F(ConnectionEscape, EscapesQuotesAndBackslashes) {
    const auto connection = connected();
    EXPECT_EQ(connection->escape("it's a \\"), "it\\'s a \\\\");
    EXPECT_EQ(connection->escape(""), "");
}

TEST_F(ConnectionEscape, EscapesAsManyBytesAsTheLengthSays) {
    const auto connection = connected();
    EXPECT_EQ(connection->escape("'''", 2), "\\'\\'");
    EXPECT_EQ(connection->escape("'\0'", 3), std::string("\\'\0\\'", 5));
    EXPECT_EQ(connection->escape("a\0b", 0), "a");
}

TEST_F(ConnectionEscape, HasRoomForATextWhoseCharactersAreAllEscaped) {
    const auto connection = connected();
    const std::string quotes(1000, '\'');
    EXPECT_EQ(connection->escape(quotes.c_str()).size(), 2000U);
}

TEST_F(ConnectionEscape, ConnectsIfThereIsNoConnection) {
    Connection connection(false);
    EXPECT_EQ(connection.escape("x"), "x");
    EXPECT_EQ(server.openHandles, 1);
}

TEST_F(ConnectionEscape, ThrowsBadAllocWithoutMemoryForTheBuffer) {
    const auto connection = connected();
    mallocFails = true;
    bool thrown = false;
    try {
        connection->escape("x");
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    mallocFails = false;
    EXPECT_TRUE(thrown);
}

TEST_F(ConnectionEscape, ThrowsIfTheLibraryCannotEscape) {
    const auto connection = connected();
    server.canEscape = false;
    EXPECT_EQ(errorOf([&] { connection->escape("x"); }), "Unknown error\n escaping value");
}

TEST_F(ConnectionInsertion, AppendsTextUnchangedToAnEmptyStatement) {
    connection << "a'b`c" << std::string("\0d", 2);
    EXPECT_EQ(statement(), std::string("a'b`c\0d", 7));
}

TEST_F(ConnectionInsertion, EscapesOnlyTheItemAfterTheMode) {
    connection << "`" << Connection::name << "a`'"
               << "`='" << Connection::value << "a`'"
               << "'";
    EXPECT_EQ(statement(), "`a``'`='a`\\''");
}

TEST_F(ConnectionInsertion, AppendsTextUnchangedInVerbatimMode) {
    connection << Connection::value << Connection::verbatim << "it's";
    EXPECT_EQ(statement(), "it's");
}

TEST_F(ConnectionInsertion, DropsAnItemInAnUnknownMode) {
    const auto unknown = static_cast<Connection::InsertionMode>(3);
    connection << unknown << "dropped" << unknown << 1 << unknown << 2.5 << "kept";
    EXPECT_EQ(statement(), "kept");
}

TEST_F(ConnectionInsertion, EscapesTextsWithZeroBytes) {
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

TEST_F(ConnectionInsertion, ResetsTheModeAfterANumber) {
    connection << Connection::name << 3 << Connection::value << 2.5 << "'";
    EXPECT_EQ(statement(), "32.500000'");
}

TEST_F(ConnectionExecute, SendsAnyBytes) {
    const auto connection = connected();
    const std::string bytes("SELECT '\0\xff'", 11);
    *connection << bytes;
    connection->execute();
    EXPECT_EQ(server.statements(), std::vector<std::string>{bytes});
}

TEST_F(ConnectionExecute, StartsANewStatement) {
    const auto connection = connected();
    *connection << "first";
    connection->execute();
    *connection << "second";
    connection->execute();
    connection->execute();
    EXPECT_THAT(server.statements(), ElementsAre("first", "second", ""));
}

TEST_F(ConnectionExecute, ResetsTheMode) {
    const auto connection = connected();
    *connection << Connection::value;
    connection->execute();
    *connection << "it's";
    connection->execute();
    EXPECT_EQ(server.statements().back(), "it's");
}

TEST_F(ConnectionExecute, ThrowsForARejectedStatementAndStaysUsable) {
    const auto connection = connected();
    const struct {
        test::ClientError error;
        const char* message;
    } cases[] = {
        {{1064, "syntax error"}, "Mysql error 1064: syntax error\n executing query"},
        {{}, "Unknown error\n executing query"},
    };
    for (const auto& [error, message] : cases) {
        server.answers["x"] = rejected(error);
        *connection << "x";
        EXPECT_EQ(errorOf([&] { connection->execute(); }), message);
        *connection << "y";
        connection->execute();
        EXPECT_EQ(server.statements().back(), "y");
    }
}

TEST_F(ConnectionSelfTest, PrintsFourEscapedNamesWithTheLineOfEachCall) {
    testing::internal::CaptureStderr();
    Connection::test();
    const std::string printed = testing::internal::GetCapturedStderr();
    const std::regex lineNumber(R"(\(cpp_mysql\.cpp:([1-9][0-9]*)\))");
    const std::string operation = "static void keldo::mysql::Connection::test()(LINE)";
    EXPECT_EQ(std::regex_replace(printed, lineNumber, "(LINE)"),
              operation + "conn.escape_name(\"aaaa\")=aaaa\n" + //
                  operation + "conn.escape_name(\"a`aaa\")=a``aaa\n" + operation +
                  "conn.escape_name(\"a``aaa\")=a````aaa\n" + operation +
                  "conn.escape_name(\"a``aa`a\")=a````aa``a\n");
    int last = 0;
    for (std::sregex_iterator at(printed.begin(), printed.end(), lineNumber), end; at != end;
         ++at) {
        const int number = std::stoi((*at)[1]);
        EXPECT_GT(number, last);
        last = number;
    }
    EXPECT_EQ(server.calls.front(), "init");
    EXPECT_EQ(server.calls.back(), "close");
}

TEST_F(ResultFetch, ReadsRowByRowByTheNamesOfTheFields) {
    Result result = query(resultSet({"id", "name"}, {{"1", "web"}, {"2", "dns"}}));
    for (const char* text : {"1web", "2dns"}) {
        ASSERT_TRUE(result.fetch(row));
        EXPECT_EQ(row["id"].text + row["name"].text, text);
    }
    EXPECT_FALSE(result.fetch(row));
    EXPECT_EQ(row["name"].text, "dns"); // unchanged
}

TEST_F(ResultFetch, ReturnsFalseForAResultWithoutRows) {
    EXPECT_FALSE(query(resultSet({"name"}, {})).fetch(row));
}

TEST_F(ResultFetch, DistinguishesNullFromAnEmptyText) {
    read(resultSet({"null", "empty", "text"}, {{std::nullopt, "", "x"}}));
    const struct {
        const char *field, *text;
        bool isNull;
    } cases[] = {{"null", "", true}, {"empty", "", false}, {"text", "x", false}};
    for (const auto& [field, text, isNull] : cases) {
        SCOPED_TRACE(field);
        EXPECT_EQ(row[field].text, text);
        EXPECT_EQ(row[field].isNull, isNull);
    }
}

TEST_F(ResultFetch, ReadsAsManyBytesAsTheLibrarySaysOrUpToAZeroByte) {
    test::Column unmeasured(std::string("ab\0c", 4));
    unmeasured.length = 0;
    read(resultSet({"measured", "unmeasured"}, {{std::string("a\0b", 3), unmeasured}}));
    EXPECT_EQ(row["measured"].text, std::string("a\0b", 3));
    EXPECT_EQ(row["unmeasured"].text, "ab");
    EXPECT_FALSE(row["unmeasured"].isNull);
}

TEST_F(ResultFetch, ForgetsTheFieldsOfTheRowBefore) {
    read(resultSet({"a"}, {{"1"}}));
    read(resultSet({"b"}, {{"2"}}));
    EXPECT_EQ(row["b"].text, "2");
    EXPECT_EQ(errorOf([&] { row["a"]; }), "No field named a in result set");
}

TEST_F(ResultFetch, ThrowsForTwoFieldsOfOneNameAndFreesTheResult) {
    const Answer answer = resultSet({"name", "id", "name"}, {{"a", "b", "c"}});
    EXPECT_EQ(errorOf([&] { query(answer).fetch(row); }), "duplicated field name in query");
    EXPECT_EQ(server.openResults, 0);
    EXPECT_EQ(server.openHandles, 1);
}

TEST_F(ResultFetch, DistinguishesFieldNamesByCase) {
    read(resultSet({"name", "Name"}, {{"a", "b"}}));
    EXPECT_EQ(row["Name"].text, "b");
    EXPECT_EQ(errorOf([&] { row["NAME"]; }), "No field named NAME in result set");
}

TEST_F(ResultFetch, FindsNoFieldInANewRow) {
    EXPECT_EQ(errorOf([&] { row["name"]; }), "No field named name in result set");
    EXPECT_EQ(errorOf([&] { row[""]; }), "No field named  in result set");
}

TEST_F(ResultFetch, ThrowsIfTheStatementFailsOrHasNoResultSet) {
    Answer noResult;
    noResult.error = {2008, "out of memory"};
    const struct {
        Answer answer;
        const char* message;
    } cases[] = {
        {{}, "Unknown error\n fetching result"},
        {noResult, "Mysql error 2008: out of memory\n fetching result"},
        {rejected({1064, "syntax error"}), "Mysql error 1064: syntax error\n executing query"},
    };
    for (const auto& [answer, message] : cases) {
        SCOPED_TRACE(message);
        EXPECT_EQ(errorOf([&, &given = answer] { query(given); }), message);
    }
}

TEST_F(ResultFetch, RunsAllStatementsOnOneConnection) {
    server.calls.clear();
    read(resultSet({"a"}, {{"1"}}));
    read(resultSet({"a"}, {{"2"}}));
    EXPECT_EQ(row["a"].text, "2");
    EXPECT_THAT(server.calls, ElementsAre("query q", "query q"));
}

} // namespace
} // namespace keldo::mysql
