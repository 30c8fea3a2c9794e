// SPDX-License-Identifier: MIT

#include "inspect/monitor_inquiry.h"

#include "failing_call.h"
#include "inspect/names.h"
#include "support/fake_panel.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>
#include <list>
#include <sstream>

namespace keldo::inspect {

namespace {

using namespace std::chrono_literals;

/// The beginning of each monitor: notes the names in the control file and the limit in "calls".
const std::string noteTheCall = R"(
file=$2 limit=$6
names=$(sed -n 's/^check process //p' "$file" | tr '\n' ' ')
echo "$names$limit" >>$PANEL/calls
)";

/// Answers for a batch, with the status and the other elements in $PANEL/answer.NAME.
const std::string batchMonitor = noteTheCall + R"(
echo '<monit batch="1">'
for name in $names; do
    answer='<status>0</status><monitor>1</monitor><checked>1</checked>'
    [ ! -e $PANEL/answer.$name ] || answer=$(cat $PANEL/answer.$name)
    [ ! -e $PANEL/late.$name ] || [ "$names" = "$name " ] || answer='<status>0</status><monitor>2</monitor><checked>0</checked>'
    echo "<service><name>$name</name>$answer</service>"
done
echo '</monit>'
)";

class MonitorInquiryTest : public testing::Test {
protected:
    void add(const std::string& id) {
        FoundDefinition& found = found_.emplace_back();
        found.path = "/service/" + id + ".xml";
        found.definition.id = id;
        found.definition.pidFile = "/none.pid";
    }

    void add(std::initializer_list<const char*> ids) {
        for (const char* const id : ids) {
            add(std::string(id));
        }
    }

    /// "a up passed, b down ..." in the order in which the services were added.
    std::string ask(std::size_t jobs, Clock::duration time = 1min, InquiryLimits limits = {}) {
        EventLoop loop({});
        MonitorInquiry inquiry(loop, directory_.path(), jobs, Clock::now() + time, limits);
        for (const FoundDefinition& found : found_) {
            inquiry.add(found);
        }
        std::string text;
        auto found = found_.begin();
        for (const Judgement& judgement : inquiry.ask()) {
            text += (text.empty() ? "" : ", ") + found->definition.id + " " +
                    nameOf(judgement.state) + " " + judgement.reason.code;
            ++found;
        }
        EXPECT_TRUE(std::filesystem::is_empty(directory_.path())); // no control file is left
        return text;
    }

    std::vector<std::string> calls() const {
        std::vector<std::string> lines;
        std::istringstream stream(panel_.content("calls"));
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        std::ranges::sort(lines);
        return lines;
    }

    void answer(const std::string& name, const std::string& text) {
        std::ofstream(panel_.root() / name) << text;
    }

    test::FakePanel panel_;
    test::TemporaryDirectory directory_;
    std::list<FoundDefinition> found_;
};

} // namespace

TEST_F(MonitorInquiryTest, AsksForOneBatchPerJobWithALimitOfOneSecond) {
    panel_.installMonitor(batchMonitor);
    answer("answer.c", "<status>512</status><monitor>1</monitor>");
    add({"a", "b", "c", "d"});
    EXPECT_EQ(ask(2), "a up passed, b up passed, c down no_process, d up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a c 1.000", "b d 1.000"}));
}

TEST_F(MonitorInquiryTest, AsksAgainForEachServiceThatWasNotCheckedInTheFirstSecond) {
    panel_.installMonitor(batchMonitor);
    answer("late.b", "");
    add({"a", "b"});
    EXPECT_EQ(ask(1), "a up passed, b up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a b 1.000", "b 10.000"}));
}

TEST_F(MonitorInquiryTest, AsksAgainForEachServiceThatABatchDoesNotNameExactlyOnce) {
    panel_.installMonitor(noteTheCall + R"(
case $names in
    "a b c ") shown="a a b" ;;
    *) shown=$names ;;
esac
echo '<monit batch="1">'
for name in $shown; do
    echo "<service><name>$name</name><status>0</status><monitor>1</monitor></service>"
done
echo '</monit>'
)");
    add({"a", "b", "c"});
    EXPECT_EQ(ask(1), "a up passed, b up passed, c up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a 10.000", "a b c 1.000", "c 10.000"}));
}

TEST_F(MonitorInquiryTest, AsksInBatchModeAfterAMonitorThatWasKilled) {
    panel_.installMonitor(noteTheCall + "[ \"$names\" != 'a b ' ] || kill -9 $$\n" +
                          batchMonitor.substr(noteTheCall.size()));
    add({"a", "b"});
    EXPECT_EQ(ask(1), "a up passed, b up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a 10.000", "a b 1.000", "b 10.000"}));
}

TEST_F(MonitorInquiryTest, LeavesTheMonitorTimeToPrintBeforeTheDeadline) {
    panel_.installMonitor(batchMonitor);
    answer("answer.a", "<status>0</status><monitor>2</monitor><checked>0</checked>");
    add({"a"});
    EXPECT_EQ(ask(1, 8s, {.firstPass = 1000s, .printing = 8s}), "a unknown limit");
    for (const std::string& call : calls()) {
        SCOPED_TRACE(call);
        EXPECT_LE(std::stod(call.substr(2)), 6.0);
    }
}

TEST_F(MonitorInquiryTest, LeavesAServiceUnknownIfItIsNotCheckedEvenAlone) {
    panel_.installMonitor(batchMonitor);
    answer("answer.a", "<status>0</status><monitor>2</monitor><checked>0</checked>");
    add({"a", "b"});
    EXPECT_EQ(ask(1), "a unknown not_tested, b up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a 10.000", "a b 1.000"}));
}

TEST_F(MonitorInquiryTest, AsksLaterIfNoDescriptorIsLeftForAControlFile) {
    panel_.installMonitor(batchMonitor);
    add({"a", "b"});
    const FailingCall failing("open", EMFILE, 1, 2); // one for each monitor: its file and /dev/null
    EXPECT_EQ(ask(2), "a up passed, b up passed");
}

TEST_F(MonitorInquiryTest, LeavesServicesUnknownIfNoProcessCanBeMade) {
    add({"a", "b"});
    const FailingCall failing("fork", EAGAIN);
    EXPECT_EQ(ask(1), "a unknown no_process_to_be_had, b unknown no_process_to_be_had");
}

TEST_F(MonitorInquiryTest, AsksSeparatelyForServicesThatCannotShareAControlFile) {
    panel_.installMonitor(batchMonitor);
    add({"a", "A", "b"});
    EXPECT_EQ(ask(1), "a up passed, A up passed, b up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"A 1.000", "a b 1.000"}));
}

TEST_F(MonitorInquiryTest, HalvesARefusedBatchUntilTheRefusedServiceIsAlone) {
    panel_.installMonitor(noteTheCall + R"(
case $names in
    *bad*) echo '<monit batch="1" refused="1"><words>no</words></monit>'; exit ;;
esac
)" + batchMonitor.substr(noteTheCall.size()));
    add({"a", "b", "bad", "c"});
    EXPECT_EQ(ask(1), "a up passed, b up passed, bad unknown definition_refused, c up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a b 1.000", "a b bad c 1.000", "bad 1.000",
                                                 "bad c 1.000", "c 1.000"}));
}

TEST_F(MonitorInquiryTest, TakesTheReasonOfARefusalFromTheComplaintNotFromRemarks) {
    panel_.installMonitor(R"(
cat <<END
<monit batch="1" refused="1"><words>$2:3: 'type tcpssl' is deprecated, use 'type tcp' instead
$2:4: syntax error 'x'
Monit exiting due to parsing errors in the configuration file.</words></monit>
END
)");
    panel_.define("web", test::definitionXml("web", "\n<checks>\n<port number='1' type='TCPSSL'/>\n"
                                                    "<port number='2' protocol='x'/>\n</checks>"));
    add("web");
    FoundDefinition& found = found_.front();
    found.path = panel_.root() / "service/web.xml";
    EventLoop loop({});
    MonitorInquiry inquiry(loop, directory_.path(), 1, Clock::now() + 1min);
    inquiry.add(found);
    const Judgement judgement = inquiry.ask().front();
    EXPECT_EQ(judgement.reason.text.text,
              "The monitor refuses line 4 of the service definition " + found.path + ".");
    EXPECT_EQ(judgement.detail, directory_.path().string() + "/1:4: syntax error 'x'");
}

TEST_F(MonitorInquiryTest, AsksForOneServicePerCallIfTheMonitorKnowsNoBatches) {
    panel_.installMonitor(noteTheCall + R"(
[ -z "$limit" ] || exit 1
echo "<monit><service><name>${names% }</name><status>0</status><monitor>1</monitor></service></monit>"
)");
    add({"a", "b", "c"});
    EXPECT_EQ(ask(1), "a up passed, b up passed, c up passed");
    EXPECT_EQ(calls(), (std::vector<std::string>{"a ", "a b c 1.000", "b ", "c "}));
}

TEST_F(MonitorInquiryTest, TellsWhatIsWrongWithTheMonitor) {
    const std::pair<const char*, const char*> rows[] = {
        {"exit 0\n", "monitor_failed"},
        {"echo '<monit'\n", "monitor_rubbish"},
        {"kill -9 $$\n", "monitor_killed"},
        {"exec yes '<monit/>'\n", "monitor_rubbish"},
        {"echo '<monit><service><name>b</name></service></monit>'\n", "not_named"},
        {"exec sleep 1000\n", "monitor_silent"},
    };
    add({"a"});
    const InquiryLimits short_{.firstPass = 10ms, .perTest = 0ms, .margin = 10ms, .printing = 10ms};
    for (const auto& [script, code] : rows) {
        SCOPED_TRACE(script);
        const bool isSilent = std::string(code) == "monitor_silent";
        panel_.installMonitor(script);
        EXPECT_EQ(ask(1, 1min, isSilent ? short_ : InquiryLimits{}),
                  std::string("a unknown ") + code);
    }
}

TEST_F(MonitorInquiryTest, LeavesServicesUnknownAtTheTimeLimit) {
    panel_.installMonitor("exec sleep 1000\n");
    add({"a", "b"});
    EXPECT_EQ(ask(1, 10ms), "a unknown limit, b unknown limit");
}

TEST_F(MonitorInquiryTest, BlamesADirectoryInWhichNoControlFileCanBeWritten) {
    panel_.installMonitor(batchMonitor);
    add({"a"});
    EventLoop loop({});
    MonitorInquiry inquiry(loop, "/nowhere", 1, Clock::now() + 1min);
    inquiry.add(found_.front());
    EXPECT_EQ(inquiry.ask().front().reason.code, "no_directory");
    EXPECT_EQ(inquiry.controlFileError(), ENOENT);
}

} // namespace keldo::inspect
