// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/status_request.h"
#include "failure_of.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

namespace keldo::adapter {

// For EXPECT_EQ.
bool operator==(const ConnectionResult& a, const ConnectionResult& b) {
    return a.target == b.target && a.responseTime == b.responseTime;
}

bool operator==(const Service& a, const Service& b) {
    return a.name == b.name && a.status == b.status && a.monitor == b.monitor &&
           a.collected == b.collected && a.ports == b.ports && a.unixPaths == b.unixPaths;
}

namespace {

using std::chrono::microseconds;
using Services = std::vector<Service>;

constexpr microseconds second{1000000};

std::string version5(const std::string& name, const std::string& rest) {
    return "<service type=\"3\"><name>" + name + "</name><collected_sec>1</collected_sec>" + rest +
           "</service>";
}

constexpr const char* failed = "<status>512</status><status_hint>0</status_hint>"
                               "<monitor>1</monitor>";
constexpr const char* waiting = "<status>0</status><monitor>2</monitor>";

TEST(ServicesIn, ReadsBothVersionsInTheirOrderWithoutTheOwnService) {
    const std::vector<std::pair<std::string, Services>> rows = {
        {"", {}},
        {"<monit><server/></monit>", {}},
        {"<monit>" + version5("web", failed) + version5("own", failed) + version5("a b", waiting) +
             "</monit>",
         {{"web", "512", "1", second}, {"a b", "0", "2", second}}},
        {"<service type=\"3\"><name><![CDATA[web]]></name><collected_sec>1</collected_sec>" +
             std::string(failed),
         {{"web", "512", "1", second}}},
        {version5("web", "<collected_usec>23</collected_usec>" + std::string(waiting)),
         {{"web", "0", "2", second + microseconds(23)}}},
        {version5("web", "<collected_usec>-1</collected_usec>" + std::string(waiting)),
         {{"web", "0", "2", second}}},
        {version5("web", "<collected_usec>99999999999999</collected_usec>" + std::string(waiting)),
         {{"web", "0", "2", second}}},
    };
    for (const auto& [status, services] : rows) {
        SCOPED_TRACE(status);
        EXPECT_EQ(servicesIn(status, "own"), services);
    }
}

TEST(ServicesIn, KeepsNamesThatLookLikeMarkup) {
    for (const std::string name :
         {"w&b", "a<b>c", "a]]>b", "a</name><status>0", "]]></name>", "<name>", "\xFF", ""}) {
        for (const std::string& text : {name, "<![CDATA[" + name + "]]>"}) {
            SCOPED_TRACE(text);
            EXPECT_EQ(servicesIn(version5(text, failed), "own"),
                      (Services{{name, "512", "1", second}}));
        }
    }
}

TEST(ServicesIn, FindsTheNameInTheControlFileThatMonitHasEscaped) {
    const struct {
        const char* text;
        std::vector<std::string> names;
        const char* found;
    } rows[] = {
        {"w&amp;b&lt;c&gt;", {"a", "w&b<c>"}, "w&b<c>"},
        {"w&amp;b", {"w&amp;b", "w&b"}, "w&amp;b"},
        {"w&amp;b", {"a"}, "w&amp;b"},
        {"<![CDATA[a]]]]><![CDATA[>b]]]]><![CDATA[>]]>", {"a]]>b]]>"}, "a]]>b]]>"},
        {"<![CDATA[a]]>b]]>", {"a]]>b"}, "a]]>b"},
        {"<![CDATA[w&amp;b]]>", {"w&b"}, "w&amp;b"},
        {"<![CDATA[a]]>", {"<![CDATA[a]]>"}, "<![CDATA[a]]>"},
    };
    for (const auto& [text, names, found] : rows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(servicesIn(version5(text, failed), "own", names),
                  (Services{{found, "512", "1", second}}));
    }
}

/// The answers that monit has given for one control file, which has each kind of test and of name.
TEST(ServicesIn, ReadsTheRecordedAnswerOfEachVersion) {
    const std::string web = "web 32 1 8081:- 8081:- 8080:+ /run/<gone>&</path>:- /run/a&b.sock:+\n";
    for (const std::string version : {"5.33.0", "5.34.3", "6.0.0"}) {
        SCOPED_TRACE(version);
        const auto document =
            documentInAnswer(test::contentOf(KELDO_RECORDED "/monit-" + version + ".http"));
        ASSERT_TRUE(document);
        std::string found;
        for (const Service& service : servicesIn(*document, "monit-check-status.AbC123")) {
            EXPECT_GT(service.collected, std::chrono::hours(24 * 365));
            found += service.name + " " + service.status + " " + service.monitor;
            for (const auto& results : {service.ports, service.unixPaths}) {
                for (const ConnectionResult& result : results) {
                    found += " " + result.target + (result.responseTime[0] == '-' ? ":-" : ":+");
                }
            }
            found += "\n";
        }
        EXPECT_EQ(found, web + "w&b 512 1\n"
                               "a<b>c 0 1\n"
                               "a]]>b 512 1\n"
                               "Mail & News 0 1\n"
                               "a</name><status>0 512 1\n"
                               "\xFF 0 1\n"
                               "d\xC3\xBCns 32 1 8081:-\n");
    }
}

std::string port(const std::string& number, const std::string& request, const std::string& time) {
    return "<port><hostname>127.0.0.1</hostname><portnumber>" + number +
           "</portnumber><request><![CDATA[" + request + "]]></request><protocol>HTTP</protocol>" +
           "<type>TCP</type><responsetime>" + time + "</responsetime></port>";
}

std::string unixPath(const std::string& path, const std::string& time) {
    return "<unix><path>" + path + "</path><protocol>DEFAULT</protocol><responsetime>" + time +
           "</responsetime></unix>";
}

TEST(ServicesIn, ReadsTheResultsOfPortsAndSockets) {
    using Results = std::vector<ConnectionResult>;
    const std::string markup = "/<a>&</path><port><responsetime>";
    const struct {
        std::string text;
        Results ports;
        Results unixPaths;
    } rows[] = {
        {"<pid>1</pid>", {}, {}},
        {port("80", "", "-1.000000") + unixPath("/a", "0.5") + port("443", "", "0.000100"),
         {{"80", "-1.000000"}, {"443", "0.000100"}},
         {{"/a", "0.5"}}},
        {port("80", "<unix><path><responsetime>7", "1"), {{"80", "1"}}, {}},
        {"<port><portnumber>80</portnumber><responsetime>1</responsetime></port>",
         {{"80", "1"}},
         {}},
        {unixPath(markup, "1") + port("1", "", "2"), {{"1", "2"}}, {{markup, "1"}}},
        {port("1", "", "2") + "<port><portnumber>3", {{"1", "2"}}, {}},
        {"<unix><path>/a</path>", {}, {}},
        {"<port><portnumber>3</portnumber><responsetime>4", {}, {}},
    };
    for (const auto& [text, ports, unixPaths] : rows) {
        SCOPED_TRACE(text);
        const std::string status = version5("web", failed + text) + version5("next", failed);
        EXPECT_EQ(servicesIn(status, "own"),
                  (Services{{"web", "512", "1", second, ports, unixPaths},
                            {"next", "512", "1", second}}));
    }
}

TEST(ServicesIn, RefusesAServiceThatLacksAnElement) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"<service >", "<name>"},
        {"<service ><name>web", "</name><collected_sec>"},
        {"<service ><name><![CDATA[web]]></name>", "</name><collected_sec>"},
        {version5("web", ""), "<status>"},
        {version5("web", "<status>0"), "</status>"},
        {version5("web", "<status>0</status>"), "<monitor>"},
        {version5("web", "<status>0</status><monitor>1"), "</monitor>"},
    };
    for (const auto& [status, missing] : rows) {
        SCOPED_TRACE(status);
        EXPECT_EQ(test::failureOf([&, &text = status] { servicesIn(text, "own"); }),
                  "unexpected status of the monitor -- no " + missing);
    }
}

TEST(DocumentOf, EscapesNamesAndMarksUncheckedServices) {
    const std::string begin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n";
    EXPECT_EQ(documentOf({}), begin + "</monit>\n");
    EXPECT_EQ(documentOf({{"w&b<\xFF", "512", "1"}, {"dns", "0", "2"}}),
              begin + "  <service>\n"
                      "    <name>w&amp;b&lt;\xEF\xBF\xBD</name>\n"
                      "    <status>512</status>\n"
                      "  </service>\n"
                      "  <service>\n"
                      "    <name>dns</name>\n"
                      "    <status>1</status>\n"
                      "  </service>\n"
                      "</monit>\n");
}

} // namespace
} // namespace keldo::adapter
