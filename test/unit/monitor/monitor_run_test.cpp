// SPDX-License-Identifier: MIT

#include "monitor/monitor_run.h"

#include "monitor/forced_failures.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "xml/xpath.h"

#include <boost/lexical_cast.hpp>
#include <clocale>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldo {
namespace {

using testing::IsEmpty;

constexpr int defaultStatus = 4711;

std::string serviceXml(const std::string& name, const std::string& status) {
    return "<service type=\"3\"><name>" + name + "</name><collected_sec>1</collected_sec><status>" +
           status + "</status><monitor>1</monitor></service>";
}

std::string monitXml(const std::string& services) {
    return "<?xml version=\"1.0\"?><monit><server><id>x</id></server>" + services + "</monit>";
}

int statusOfWeb(const std::string& services) {
    return monitorStatus("web", monitXml(services), defaultStatus);
}

TEST(MonitorStatus, IsTheNumberAfterTheServicesName) {
    const struct {
        const char* text;
        int status;
    } rows[] = {{"0", 0},     {"2", 2},   {"32", 32},
                {"512", 512}, {"-1", -1}, {"+5", 5},
                {"007", 7},   {"-0", 0},  {"2147483647", 2147483647}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(row.status, statusOfWeb(serviceXml("web", row.text)));
    }
}

TEST(MonitorStatus, IsThatOfTheNamedServiceAmongSeveral) {
    const std::string services = serviceXml("smtp", "0") + serviceXml("web", "32");
    EXPECT_EQ(32, statusOfWeb(services));
    EXPECT_EQ(0, monitorStatus("smtp", monitXml(services), defaultStatus));
}

TEST(MonitorStatus, IsTheFirstOfSeveralOfTheName) {
    EXPECT_EQ(0, statusOfWeb(serviceXml("web", "0") + serviceXml("web", "1")));
    EXPECT_EQ(1, statusOfWeb("<service><status>1</status><name>web</name><status>2</status>"
                             "</service>"));
}

TEST(MonitorStatus, IsTheDefaultWhereTheServiceHasNone) {
    const char* const rows[] = {
        "",
        "<service><name>dns</name><status>1</status></service>",
        "<service><name> web</name><status>1</status></service>",
        "<service><name>web </name><status>1</status></service>",
        "<service><name>WEB</name><status>1</status></service>",
        "<service><name>web</name></service>",
        "<service><name>web</name><status></status></service>",
        "<service><name>web</name><status/></service>",
        "<service><status>1</status></service>",
        "<service name='web'><status>1</status></service>",
        "<other><name>web</name><status>1</status></other>",
        "<group><service><name>web</name><status>1</status></service></group>",
        "<service xmlns='urn:x'><name>web</name><status>1</status></service>",
    };
    for (const char* services : rows) {
        SCOPED_TRACE(services);
        EXPECT_EQ(defaultStatus, statusOfWeb(services));
    }
}

TEST(MonitorStatus, IsTheDefaultWhereTheOutputIsNoDocument) {
    for (const std::string& output :
         {std::string(), std::string("\n"), std::string("keldoctl: failed to create a pipe"),
          monitXml(serviceXml("web", "1")) + "noise", "noise" + monitXml(serviceXml("web", "1")),
          std::string("<monit><service><name>web</name><status>1</status>")}) {
        SCOPED_TRACE(output);
        EXPECT_EQ(defaultStatus, monitorStatus("web", output, defaultStatus));
    }
}

TEST(MonitorStatus, IsTheDefaultOfAnotherRootElement) {
    EXPECT_EQ(defaultStatus,
              monitorStatus("web", "<x>" + serviceXml("web", "1") + "</x>", defaultStatus));
}

TEST(MonitorStatus, IsTheDefaultForANameThatBreaksTheExpression) {
    EXPECT_EQ(defaultStatus,
              monitorStatus("it's", monitXml(serviceXml("it's", "1")), defaultStatus));
}

TEST(MonitorStatus, PutsTheNameIntoTheExpressionUnquoted) {
    EXPECT_EQ(1,
              monitorStatus("x' or ../name='web", monitXml(serviceXml("web", "1")), defaultStatus));
}

TEST(MonitorStatus, FindsNamesWithEscapedCharacters) {
    EXPECT_EQ(1,
              monitorStatus("a<&>b", monitXml(serviceXml("a&lt;&amp;&gt;b", "1")), defaultStatus));
    EXPECT_EQ(1, monitorStatus("web", monitXml(serviceXml("<![CDATA[web]]>", "1")), defaultStatus));
}

TEST(MonitorStatus, ThrowsWhereTheTextIsNoInteger) {
    for (const char* text :
         {" 0", "0 ", "\n0", "ok", "0.0", "0x0", "1e1", "2147483648", "-", " "}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(statusOfWeb(serviceXml("web", text)), boost::bad_lexical_cast);
    }
}

TEST(MonitorStatus, IsReadAlikeInEveryLocale) {
    test::selectLocale("utf8", "de_DE");
    EXPECT_EQ(1234567, statusOfWeb(serviceXml("web", "1234567")));
    EXPECT_THROW(statusOfWeb(serviceXml("web", "1.234")), boost::bad_lexical_cast);
    EXPECT_THROW(statusOfWeb(serviceXml("web", "1,5")), boost::bad_lexical_cast);
    std::setlocale(LC_ALL, "C");
}

TEST(MonitorStatus, IsTheDefaultWithoutAnXPathContext) {
    const test::ForcedFailuresEnd failuresEnd;
    const XPathContext inUse = xpathContext(nullptr);
    test::forcedFailures.newXPathContext = true;
    EXPECT_EQ(defaultStatus, statusOfWeb(serviceXml("web", "1")));
}

TEST(MonitorStatus, FindsTheLastOfTenThousandServices) {
    std::string services;
    for (int i = 0; i < 10000; ++i) {
        services += serviceXml("service" + std::to_string(i), "0");
    }
    EXPECT_EQ(1, statusOfWeb(services + serviceXml("web", "1")));
}

/// A service "web" to be checked, and a monitor that the test supplies.
class IsServiceRunning : public testing::Test {
protected:
    IsServiceRunning() {
        web.id = "web";
        web.pidFile = "/run/web.pid";
    }

    /// A monitor that prints `output` and ends with `exitStatus`.
    void installMonitorThatPrints(const std::string& output, int exitStatus = 0) const {
        panel.installMonitor("cat <<'END'\n" + output + "\nEND\nexit " +
                             std::to_string(exitStatus));
    }

    test::FakePanel panel;
    test::ForcedFailuresEnd failuresEnd;
    ServiceDefinition web;
};

TEST_F(IsServiceRunning, AsksTheMonitorBelowTheProductRoot) {
    EXPECT_EQ(panel.root().string() + "/admin/sbin/monit", monitorPath());
}

TEST_F(IsServiceRunning, RunsTheMonitorOnAControlFileOfTheService) {
    panel.installMonitor("for word in \"$0\" \"$@\"; do echo \"$word\"; done > $PANEL/words\n"
                         "cp \"$2\" $PANEL/control\n");
    EXPECT_TRUE(isServiceRunning(web));
    const std::string root = panel.root().string();
    EXPECT_THAT(panel.content("words"),
                testing::MatchesRegex(root + "/admin/sbin/monit\n-c\n" + root +
                                      "/tmp/monitrc[A-Za-z0-9]{6}\n-x\ncheck-status\n"));
    EXPECT_EQ("check process web\n\twith pidfile \"/run/web.pid\"\n", panel.content("control"));
}

TEST_F(IsServiceRunning, IsTrueForStatusZeroAlone) {
    const struct {
        const char* status;
        bool running;
    } rows[] = {{"0", true}, {"", true}, {"2", false}, {"-1", false}, {"512", false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        installMonitorThatPrints(monitXml(serviceXml("web", row.status)));
        EXPECT_EQ(row.running, isServiceRunning(web));
    }
}

TEST_F(IsServiceRunning, LeavesItToTheDocumentWhateverTheExitStatus) {
    for (const int exitStatus : {0, 1, 127, 255}) {
        SCOPED_TRACE(exitStatus);
        installMonitorThatPrints(monitXml(serviceXml("web", "32")), exitStatus);
        EXPECT_FALSE(isServiceRunning(web));
        installMonitorThatPrints(monitXml(serviceXml("web", "0")), exitStatus);
        EXPECT_TRUE(isServiceRunning(web));
    }
}

TEST_F(IsServiceRunning, IsTrueWithoutAMonitor) {
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

TEST_F(IsServiceRunning, IsTrueWhereTheMonitorCannotBeExecuted) {
    installMonitorThatPrints(monitXml(serviceXml("web", "1")));
    std::filesystem::permissions(monitorPath(), std::filesystem::perms::owner_read);
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

TEST_F(IsServiceRunning, IsTrueWhereTheMonitorSaysNothingUsable) {
    for (const char* script : {"exit 0", "exit 3", "echo no XML", "kill -KILL $$"}) {
        SCOPED_TRACE(script);
        panel.installMonitor(script);
        EXPECT_TRUE(isServiceRunning(web));
        EXPECT_THAT(panel.controlFiles(), IsEmpty());
    }
}

TEST_F(IsServiceRunning, IsTrueWhereNoCommandCanBeRun) {
    installMonitorThatPrints(monitXml(serviceXml("web", "1")));
    test::forcedFailures.pipe = true;
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

TEST_F(IsServiceRunning, DoesNotReadWhatTheMonitorPrintsOnStandardError) {
    panel.installMonitor("echo noise >&2; echo '" + monitXml(serviceXml("web", "1")) +
                         "'; echo noise >&2");
    testing::internal::CaptureStderr();
    const bool running = isServiceRunning(web);
    EXPECT_EQ("noise\nnoise\n", testing::internal::GetCapturedStderr());
    EXPECT_FALSE(running);
}

TEST_F(IsServiceRunning, FindsTheServiceByTheIdInItsDefinition) {
    panel.installMonitor("cat <<END\n<monit><service><name>$(sed -n 's/^check process //p' $2)"
                         "</name><status>1</status></service></monit>\nEND");
    web.id = "apache";
    EXPECT_FALSE(isServiceRunning(web));
}

TEST_F(IsServiceRunning, OfAServiceWithoutDefinitionIsTrue) {
    panel.installMonitor("wc -c < $2 > $PANEL/size; echo '" + monitXml(serviceXml("web", "1")) +
                         "'");
    EXPECT_TRUE(isServiceRunning(ServiceDefinition()));
    EXPECT_EQ("0\n", panel.content("size"));
}

TEST_F(IsServiceRunning, RemovesTheControlFile) {
    panel.installMonitor("test -f $2 && echo there > $PANEL/seen");
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_EQ("there\n", panel.content("seen"));
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

TEST_F(IsServiceRunning, HoldsNoSignalBackWhileTheMonitorRuns) {
    sigset_t none; // however the tests were started
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Of this process, that is: the shell may unblock signals by itself.
    panel.installMonitor("grep SigBlk /proc/" + std::to_string(getpid()) +
                         "/status > $PANEL/signals");
    isServiceRunning(web);
    EXPECT_EQ("SigBlk:\t0000000000000000\n", panel.content("signals"));
}

TEST_F(IsServiceRunning, GoesOnWithoutAControlFile) {
    panel.installMonitor("echo \"$#: $*\" > $PANEL/words");
    test::forcedFailures.controlFileName = true;
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_EQ("3: -c -x check-status\n", panel.content("words"));
}

TEST_F(IsServiceRunning, DoesNotMindThatTheMonitorRemovedTheControlFile) {
    panel.installMonitor("rm $2; echo '" + monitXml(serviceXml("web", "1")) + "'");
    EXPECT_FALSE(isServiceRunning(web));
}

TEST_F(IsServiceRunning, PassesOnAStatusThatIsNoNumberWithTheControlFileRemoved) {
    for (const char* status : {" 0", "0 ", "ok"}) {
        SCOPED_TRACE(status);
        installMonitorThatPrints(monitXml(serviceXml("web", status)));
        EXPECT_THROW(isServiceRunning(web), boost::bad_lexical_cast);
        EXPECT_THAT(panel.controlFiles(), IsEmpty());
    }
}

TEST_F(IsServiceRunning, RemovesTheControlFileAlsoWhenTheRunOfTheMonitorThrows) {
    test::forcedFailures.read = true;
    EXPECT_THROW(isServiceRunning(web), std::bad_alloc);
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
    EXPECT_EQ(wait(nullptr), -1) << "the monitor's process is left";
}

} // namespace
} // namespace keldo
