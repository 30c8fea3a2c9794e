// SPDX-License-Identifier: MIT

#include "inspect/answer.h"

#include <gtest/gtest.h>

namespace keldo::inspect {

TEST(Answer, IsNothingUnlessItIsADocumentOfTheMonitor) {
    for (const char* output : {"", "rubbish", "<monit>", "<monitor/>", "<m:monit xmlns:m='x'/>",
                               "<!DOCTYPE monit [<!ENTITY a 'b'>]><monit/>", "<monit/>trailing"}) {
        SCOPED_TRACE(output);
        EXPECT_FALSE(readAnswer(output));
    }
    EXPECT_TRUE(readAnswer("<monit/>"));
}

TEST(Answer, HoldsTheResultsOfEachService) {
    const auto answer = readAnswer(
        R"(<monit batch="1"><other/><service type="3"><name>a&amp;b</name><status>32</status>
        <monitor>1</monitor><checked>0</checked><seconds>0.25</seconds>
        <port><number>80</number><responsetime>-1.0</responsetime></port>
        <unix><path>/s</path><responsetime>0.5</responsetime></unix>
        <words>'a&amp;b' failed</words></service><service><name>c</name></service></monit>)");
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->isBatch);
    EXPECT_FALSE(answer->isRefused);
    ASSERT_EQ(answer->services.size(), 2U);
    const ReportedService& first = answer->services[0];
    EXPECT_EQ(first.name, "a&b");
    EXPECT_EQ(first.status, "32");
    EXPECT_EQ(first.monitor, "1");
    EXPECT_FALSE(first.isChecked);
    EXPECT_EQ(first.seconds, 0.25);
    EXPECT_EQ(first.words, "'a&b' failed");
    ASSERT_EQ(first.tests.size(), 2U);
    EXPECT_TRUE(first.tests[0].isPort);
    EXPECT_EQ(first.tests[0].number, 80U);
    EXPECT_TRUE(first.tests[0].hasFailed);
    EXPECT_FALSE(first.tests[1].isPort);
    EXPECT_EQ(first.tests[1].path, "/s");
    EXPECT_FALSE(first.tests[1].hasFailed);
    const ReportedService& second = answer->services[1];
    EXPECT_EQ(second.status, "");
    EXPECT_EQ(second.monitor, "");
    EXPECT_TRUE(second.isChecked);
    EXPECT_FALSE(second.seconds);
}

TEST(Answer, IgnoresElementsThatOccurTwice) {
    const auto answer = readAnswer(
        "<monit><service><name>a</name><name>b</name><status>0</status><status>32</status>"
        "<monitor>1</monitor><monitor>0</monitor></service></monit>");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->services[0].name, "");
    EXPECT_EQ(answer->services[0].status, "");
    EXPECT_EQ(answer->services[0].monitor, "");
}

TEST(Answer, CountsAServiceAsCheckedOnlyIfItSaysSo) {
    const std::pair<const char*, bool> rows[] = {
        {"", true},
        {"<checked>1</checked>", true},
        {"<checked>0</checked>", false},
        {"<checked> 1</checked>", false},
        {"<checked/>", false},
        {"<checked>1</checked><checked>0</checked>", false},
    };
    for (const auto& [element, isChecked] : rows) {
        SCOPED_TRACE(element);
        const auto answer =
            readAnswer("<monit><service>" + std::string(element) + "</service></monit>");
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->services[0].isChecked, isChecked);
    }
}

TEST(Answer, IgnoresATimeThatIsNotBetweenZeroAndADay) {
    for (const char* number : {"-1", "-0.5", "nan", "inf", "86401", "1e308", "1s", " 1", ""}) {
        SCOPED_TRACE(number);
        const std::string text = number;
        const auto answer =
            readAnswer("<monit><service><seconds>" + text + "</seconds><port><responsetime>" +
                       text + "</responsetime></port></service></monit>");
        ASSERT_TRUE(answer);
        EXPECT_FALSE(answer->services[0].seconds);
        EXPECT_TRUE(answer->services[0].tests[0].hasFailed);
    }
}

TEST(Answer, HoldsARefusalWithTheOutputOfTheMonitor) {
    const auto answer =
        readAnswer("<monit batch=\"1\" refused=\"1\"><words>/f:3: syntax error</words></monit>");
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->isRefused);
    EXPECT_EQ(answer->words, "/f:3: syntax error");
}

} // namespace keldo::inspect
