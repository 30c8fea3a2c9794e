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

/// A text of the element `status`, and its number.
const std::pair<const char*, int> numbers[] = {
    {"0", 0},  {"2", 2},   {"32", 32}, {"512", 512},         {"-1", -1},
    {"+5", 5}, {"007", 7}, {"-0", 0},  {"1234567", 1234567}, {"2147483647", 2147483647},
};

const char* const notNumbers[] = {" 0",  "0 ",  "\n0", "ok",         "0.0", "1.234",
                                  "1,5", "0x0", "1e1", "2147483648", "-",   " "};

TEST(MonitorStatus, ReadsNumbersAlikeInEveryLocale) {
    for (const char* codeset : {"", "utf8"}) {
        if (*codeset != '\0') {
            test::selectLocale(codeset, "de_DE");
        }
        for (const auto& [text, status] : numbers) {
            SCOPED_TRACE(text);
            EXPECT_EQ(status, statusOfWeb(serviceXml("web", text)));
        }
        for (const char* text : notNumbers) {
            SCOPED_TRACE(text);
            EXPECT_THROW(statusOfWeb(serviceXml("web", text)), boost::bad_lexical_cast);
        }
    }
    std::setlocale(LC_ALL, "C");
}

TEST(MonitorStatus, FindsTheFirstStatusOfTheNamedService) {
    std::string many;
    for (int i = 0; i < 10000; ++i) {
        many += serviceXml("service" + std::to_string(i), "0");
    }
    const struct {
        const char* name;
        std::string services;
        int status;
    } table[] = {
        {"web", serviceXml("smtp", "0") + serviceXml("web", "32"), 32},
        {"smtp", serviceXml("smtp", "0") + serviceXml("web", "32"), 0},
        {"web", serviceXml("web", "0") + serviceXml("web", "1"), 0},
        {"web", "<service><status>1</status><name>web</name><status>2</status></service>", 1},
        {"web", serviceXml("<![CDATA[web]]>", "1"), 1},
        {"a<&>]]>b", serviceXml("<![CDATA[a<&>]]]]><![CDATA[>b]]>", "1"), 1},
        {"a<&>b", serviceXml("a&lt;&amp;&gt;b", "1"), 1},
        {"it's", serviceXml("it's", "1"), defaultStatus}, // breaks the expression
        {"x' or ../name='web", serviceXml("web", "1"), 1},
        {"web", many + serviceXml("web", "1"), 1},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name + row.services.substr(0, 200));
        EXPECT_EQ(row.status, monitorStatus(row.name, monitXml(row.services), defaultStatus));
    }
}

TEST(MonitorStatus, IsTheDefaultWithoutAStatusOfTheService) {
    const std::string web = serviceXml("web", "1");
    const std::string rows[] = {
        monitXml(""),
        monitXml(serviceXml("dns", "1")),
        monitXml(serviceXml(" web", "1")),
        monitXml(serviceXml("web ", "1")),
        monitXml(serviceXml("WEB", "1")),
        monitXml("<service><name>web</name></service>"),
        monitXml("<service><name>web</name><status></status></service>"),
        monitXml("<service><name>web</name><status/></service>"),
        monitXml("<service><status>1</status></service>"),
        monitXml("<service name='web'><status>1</status></service>"),
        monitXml("<other><name>web</name><status>1</status></other>"),
        monitXml("<group><service><name>web</name><status>1</status></service></group>"),
        monitXml("<service xmlns='urn:x'><name>web</name><status>1</status></service>"),
        "<x>" + web + "</x>",
        "<monit xmlns='urn:x'>" + web + "</monit>",
        "",
        "\n",
        "keldoctl: failed to create a pipe",
        monitXml(web) + "noise",
        "noise" + monitXml(web),
        "<monit><service><name>web</name><status>1</status>",
    };
    for (const std::string& output : rows) {
        SCOPED_TRACE(output);
        EXPECT_EQ(defaultStatus, monitorStatus("web", output, defaultStatus));
    }
}

TEST(MonitorStatus, IsTheDefaultWithoutAnXPathContext) {
    const test::ForcedFailuresEnd failuresEnd;
    const XPathContext inUse(nullptr);
    test::forcedFailures.newXPathContext = true;
    EXPECT_EQ(defaultStatus, statusOfWeb(serviceXml("web", "1")));
}

/// A script that prints the status of the service `name`.
std::string printStatus(const std::string& status, const std::string& name = "web") {
    return "echo '" + monitXml(serviceXml(name, status)) + "'\n";
}

/// Checks a service "web" with a monitor that the test installs. Each test leaves no control file.
class IsServiceRunning : public testing::Test {
protected:
    IsServiceRunning() {
        web.id = "web";
        web.pidFile = "/run/web.pid";
    }
    ~IsServiceRunning() override { EXPECT_THAT(panel.controlFiles(), IsEmpty()); }

    test::FakePanel panel;
    test::ForcedFailuresEnd failuresEnd;
    ServiceDefinition web;
};

TEST_F(IsServiceRunning, RunsTheMonitorBelowTheProductRootOnAControlFileOfTheService) {
    const std::string root = panel.root().string();
    EXPECT_EQ(root + "/admin/sbin/monit", monitorPath());
    panel.installMonitor("for word in \"$0\" \"$@\"; do echo \"$word\"; done > $PANEL/words\n"
                         "cp \"$2\" $PANEL/control\n");
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_THAT(panel.content("words"),
                testing::MatchesRegex(root + "/admin/sbin/monit\n-c\n" + root +
                                      "/tmp/monitrc[A-Za-z0-9]{6}\n-x\ncheck-status\n"));
    EXPECT_EQ("check process web\n\twith pidfile \"/run/web.pid\"\n", panel.content("control"));
}

TEST_F(IsServiceRunning, IsFalseOnlyIfTheMonitorPrintsAStatusOtherThanZero) {
    const struct {
        std::string monitor;
        bool running;
    } rows[] = {
        {printStatus("0"), true},
        {printStatus("0") + "exit 7", true},
        {printStatus(""), true},
        {printStatus("2"), false},
        {printStatus("-1"), false},
        {printStatus("512") + "exit 127", false},
        {printStatus("2", "smtp"), true},
        {"rm $2;" + printStatus("1"), false},
        {"exit 0", true},
        {"exit 3", true},
        {"echo no XML", true},
        {"kill -KILL $$", true},
    };
    EXPECT_TRUE(isServiceRunning(web)) << "there is no monitor";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.monitor);
        panel.installMonitor(row.monitor);
        EXPECT_EQ(row.running, isServiceRunning(web));
    }
}

TEST_F(IsServiceRunning, IsTrueIfTheMonitorCannotBeRun) {
    panel.installMonitor(printStatus("1"));
    test::forcedFailures.pipe = true;
    EXPECT_TRUE(isServiceRunning(web));
    test::forcedFailures.pipe = false;
    std::filesystem::permissions(monitorPath(), std::filesystem::perms::owner_read);
    EXPECT_TRUE(isServiceRunning(web));
}

TEST_F(IsServiceRunning, IgnoresStandardErrorOfTheMonitor) {
    panel.installMonitor("echo noise >&2;" + printStatus("1") + "echo noise >&2");
    testing::internal::CaptureStderr();
    const bool running = isServiceRunning(web);
    EXPECT_EQ("noise\nnoise\n", testing::internal::GetCapturedStderr());
    EXPECT_FALSE(running);
}

TEST_F(IsServiceRunning, FindsTheServiceByTheIdInItsDefinition) {
    panel.installMonitor(printStatus("1", "apache"));
    EXPECT_TRUE(isServiceRunning(web));
    web.id = "apache";
    EXPECT_FALSE(isServiceRunning(web));
}

TEST_F(IsServiceRunning, IsTrueForAServiceWithoutADefinition) {
    panel.installMonitor("wc -c < $2 > $PANEL/size;" + printStatus("1"));
    EXPECT_TRUE(isServiceRunning(ServiceDefinition()));
    EXPECT_EQ("0\n", panel.content("size"));
}

TEST_F(IsServiceRunning, BlocksNoSignalWhileTheMonitorRuns) {
    sigset_t none; // the tests may have been started with signals blocked
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // The signals of this process, since the shell may unblock its own.
    panel.installMonitor("grep SigBlk /proc/" + std::to_string(getpid()) +
                         "/status > $PANEL/signals");
    isServiceRunning(web);
    EXPECT_EQ("SigBlk:\t0000000000000000\n", panel.content("signals"));
}

TEST_F(IsServiceRunning, RunsTheMonitorEvenWithoutAControlFile) {
    panel.installMonitor("echo \"$#: $*\" > $PANEL/words");
    test::forcedFailures.controlFileName = true;
    EXPECT_TRUE(isServiceRunning(web));
    EXPECT_EQ("3: -c -x check-status\n", panel.content("words"));
}

TEST_F(IsServiceRunning, ThrowsForAStatusThatIsNoNumber) {
    panel.installMonitor(printStatus("ok"));
    EXPECT_THROW(isServiceRunning(web), boost::bad_lexical_cast);
}

TEST_F(IsServiceRunning, ThrowsIfTheOutputCannotBeReadAndWaitsForTheMonitor) {
    test::forcedFailures.read = true;
    EXPECT_THROW(isServiceRunning(web), std::bad_alloc);
    EXPECT_EQ(wait(nullptr), -1);
}

} // namespace
} // namespace keldo
