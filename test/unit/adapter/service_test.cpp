// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "failure_of.h"

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
    for (const char* name : {"w&b", "a<b>c", "a]]>b", "a</name><status>0", "<name>", "\xFF", ""}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(servicesIn(version5(name, failed), "own"),
                  (Services{{name, "512", "1", second}}));
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
        {"<service ><name><![CDATA[web</name><collected_sec>", "]]></name>"},
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
