// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/file.h"

#include <gtest/gtest.h>

namespace keldo::adapter {

bool operator==(const Service& a, const Service& b) {
    return a.name == b.name && a.status == b.status && a.isChecked == b.isChecked;
}

namespace {

using Services = std::vector<Service>;

std::string version5(const std::string& name, const std::string& rest) {
    return "<service type=\"3\"><name>" + name + "</name><collected_sec>1</collected_sec>" + rest +
           "</service>";
}

constexpr const char* failed = "<status>512</status><status_hint>0</status_hint>"
                               "<monitor>1</monitor>";
constexpr const char* waiting = "<status>0</status><monitor>2</monitor>";

TEST(ServicesIn, ReadsBothVersionsInTheirOrder) {
    const std::vector<std::pair<std::string, Services>> rows = {
        {"", {}},
        {"<monit><server/></monit>", {}},
        {"<monit>" + version5("web", failed) + version5("a b", waiting) + "</monit>",
         {{"web", "512", true}, {"a b", "0", false}}},
        {"<service type=\"3\"><name><![CDATA[web]]></name><collected_sec>1</collected_sec>" +
             std::string(failed),
         {{"web", "512", true}}},
    };
    for (const auto& [status, services] : rows) {
        SCOPED_TRACE(status);
        EXPECT_EQ(servicesIn(status, "own"), services);
    }
}

TEST(ServicesIn, KeepsNamesThatLookLikeMarkup) {
    for (const char* name : {"w&b", "a<b>c", "a]]>b", "a</name><status>0", "<name>", "\xFF", ""}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(servicesIn(version5(name, failed), "own"), (Services{{name, "512", true}}));
    }
}

TEST(ServicesIn, LeavesOutTheServiceWithTheOwnName) {
    EXPECT_EQ(servicesIn(version5("own", failed) + version5("web", failed), "own"),
              (Services{{"web", "512", true}}));
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
        try {
            servicesIn(status, "own");
            ADD_FAILURE();
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.what(), "unexpected status of the monitor -- no " + missing);
        }
    }
}

TEST(DocumentOf, IsEmptyWithoutServices) {
    EXPECT_EQ(documentOf({}), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n</monit>\n");
}

TEST(DocumentOf, EscapesNamesAndMarksUncheckedServices) {
    EXPECT_EQ(documentOf({{"w&b<\xFF", "512", true}, {"dns", "0", false}}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<monit>\n"
              "  <service>\n"
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
