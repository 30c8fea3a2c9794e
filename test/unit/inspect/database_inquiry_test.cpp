// SPDX-License-Identifier: MIT

#include "inspect/database_inquiry.h"

#include "failing_call.h"
#include "support/fake_database.h"
#include "support/fake_panel.h"
#include "support/redirected_files.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tuple>

namespace keldo::inspect {

namespace {

using namespace std::chrono_literals;

class DatabaseInquiry : public testing::Test {
protected:
    DatabaseInquiry() {
        test::redirectFile("/etc/kvr/.kvr.shadow", directory_.write("password", "secret\n"));
    }

    /// `time` until the deadline.
    static DatabaseAnswer ask(Clock::duration time = 1min, Clock::duration limit = 1min) {
        DatabaseAnswer answer;
        EventLoop loop({});
        askDatabase(loop, Clock::now() + time, answer, limit);
        loop.run();
        return answer;
    }

    test::TemporaryDirectory directory_;
    test::FakePanel panel_;
    test::FakeDatabase database_;
};

} // namespace

TEST_F(DatabaseInquiry, ReadsTheActionLog) {
    test::setActionLog(database_, {"redis", "", "tomcat"}, {"mail"});
    const DatabaseAnswer answer = ask();
    EXPECT_TRUE(answer.isConnected);
    EXPECT_TRUE(answer.isLogRead);
    EXPECT_EQ(answer.started, (std::vector<std::string>{"redis", "", "tomcat"}));
    EXPECT_EQ(answer.stopped, (std::vector<std::string>{"mail"}));
    EXPECT_EQ(answer.code, "");
}

TEST_F(DatabaseInquiry, CutsAnIdAtANulByte) {
    test::setActionLog(database_, {std::string("a\0sb", 4)}, {});
    EXPECT_EQ(ask().started, (std::vector<std::string>{"a"}));
}

TEST_F(DatabaseInquiry, KeepsTheStartedServicesIfTheStoppedOnesCannotBeRead) {
    test::setActionLog(database_, {"redis"}, {});
    database_.answers[test::lastStopped] = test::rejected({1146, "no such table"});
    const DatabaseAnswer answer = ask();
    EXPECT_TRUE(answer.isConnected);
    EXPECT_FALSE(answer.isLogRead);
    EXPECT_EQ(answer.started, (std::vector<std::string>{"redis"}));
    EXPECT_NE(answer.logDetail.find("no such table"), std::string::npos) << answer.logDetail;
}

TEST_F(DatabaseInquiry, TellsWhyTheDatabaseCannotBeUsed) {
    // The last four errors arise on this host.
    const std::tuple<unsigned, const char*, bool> rows[] = {
        {2002, "database_refused", true}, {2003, "database_refused", true},
        {1044, "database_denied", true},  {1045, "database_denied", true},
        {1698, "database_denied", true},  {1040, "database_failed", true},
        {4151, "database_failed", true},  {2013, "database_failed", true},
        {5010, "database_failed", true},  {2001, "database_failed", false},
        {2008, "database_failed", false}, {2061, "database_failed", false},
        {5005, "database_failed", false},
    };
    database_.reachable = false;
    for (const auto& [number, code, isKnown] : rows) {
        SCOPED_TRACE(number);
        database_.connectError = {number, "its words"};
        const DatabaseAnswer answer = ask();
        EXPECT_FALSE(answer.isConnected);
        EXPECT_FALSE(answer.isLogRead);
        EXPECT_EQ(answer.code, code);
        EXPECT_EQ(answer.isKnown, isKnown);
        EXPECT_EQ(answer.detail, "Unable to connect to Keldo Database: its words");
    }
}

TEST_F(DatabaseInquiry, DoesNotTakeAShortageOnThisHostForADatabaseThatIsDown) {
    const std::tuple<int, const char*, bool> rows[] = {
        {ENOMEM, "database_failed", false}, {ENOBUFS, "database_failed", false},
        {EMFILE, "database_failed", false}, {ENFILE, "database_failed", false},
        {ENOENT, "database_refused", true}, {ECONNREFUSED, "database_refused", true},
        {EAGAIN, "database_refused", true},
    };
    database_.reachable = false;
    for (const auto& [error, code, isKnown] : rows) {
        SCOPED_TRACE(error);
        database_.connectError = {2002, "Can't connect to server (" + std::to_string(error) + ")."};
        const DatabaseAnswer answer = ask();
        EXPECT_EQ(answer.code, code);
        EXPECT_EQ(answer.isKnown, isKnown);
    }
}

TEST_F(DatabaseInquiry, TellsWhichLimitASilentDatabaseReached) {
    const std::string fifo = directory_.path() / "fifo"; // nobody writes to it
    ASSERT_EQ(mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
    test::redirectFile("/etc/kvr/.kvr.shadow", fifo);
    const DatabaseAnswer early = ask(0s, 1min);
    EXPECT_EQ(early.code, "limit");
    EXPECT_FALSE(early.isKnown); // a shorter time than its own proves nothing about the database
    const DatabaseAnswer late = ask(1min, 0s);
    EXPECT_EQ(late.code, "database_silent");
    EXPECT_TRUE(late.isKnown);
}

TEST_F(DatabaseInquiry, KnowsNothingIfTheChildCannotAnswer) {
    const FailingCall failing("write", EIO);
    const DatabaseAnswer answer = ask();
    EXPECT_EQ(answer.code, "database_failed");
    EXPECT_EQ(answer.detail, "the process that asks the database ended early");
    EXPECT_FALSE(answer.isKnown);
}

} // namespace keldo::inspect
