// SPDX-License-Identifier: MIT

#include "inspect/document.h"

#include "failing_call.h"
#include "inspect/summary.h"
#include "support/fake_panel.h"

#include <gtest/gtest.h>

namespace keldo::inspect {

namespace {

using namespace std::chrono_literals;

InspectedService serviceIn(State state) {
    InspectedService service;
    service.id = "web";
    service.judgement.state = state;
    return service;
}

/// "down 1 service is down.|up ...": the codes and the sentences.
std::string summaryText(const Inspection& inspection) {
    std::string text;
    for (const Reason& sentence : summaryOf(inspection)) {
        text += (text.empty() ? "" : "|") + sentence.code + " " + sentence.text.text;
    }
    return text;
}

class Documents : public testing::Test {
protected:
    test::FakePanel panel_; // an empty model, in English
    Inspection inspection_;
};

} // namespace

TEST_F(Documents, SummarizeTheStates) {
    using enum State;
    const std::tuple<Verdict, std::vector<State>, const char*> rows[] = {
        {Verdict::unknown, {}, ""},
        {Verdict::well,
         {up},
         "all_up The only service that ought to run is up.|"
         "checked 1 service was checked in 0.4 s."},
        {Verdict::well,
         {up, up, stopped},
         "all_up All 2 services that ought to run are up.|"
         "stopped 1 service was stopped by the administrator.|"
         "checked 2 services were checked in 0.4 s."},
        {Verdict::problems,
         {down, up, unknown, down},
         "down 2 services are down.|"
         "unknown The state of 1 service is not known.|"
         "up 1 service is up.|"
         "checked 3 services were checked in 0.4 s."},
        {Verdict::upgrade,
         {unchecked, stopped, stopped},
         "stopped 2 services were stopped by the administrator.|"
         "unchecked 1 service was not checked."},
    };
    inspection_.duration = 351ms;
    for (const auto& [verdict, states, text] : rows) {
        SCOPED_TRACE(text);
        inspection_.verdict = verdict;
        inspection_.services.clear();
        for (const State state : states) {
            inspection_.services.push_back(serviceIn(state));
        }
        EXPECT_EQ(summaryText(inspection_), text);
    }
    const Counts counts = countsOf(inspection_.services);
    EXPECT_EQ(counts.services, 3U);
    EXPECT_EQ(counts.stopped, 2U);
    EXPECT_EQ(counts.unchecked, 1U);
}

TEST_F(Documents, HoldOnlyCharactersThatXmlCanCarry) {
    const std::string bad = "a\x01\xFF<&\"";
    inspection_.host = bad;
    inspection_.dependencies.push_back(
        {"database", DependencyState::failed, bad, {"code", {bad, "en-US"}}, bad});
    InspectedService service = serviceIn(State::down);
    service.id = bad;
    service.title = {bad, "en-US"};
    service.judgement.reason = {"code", {bad, "en-US"}};
    service.judgement.detail = bad;
    service.judgement.tests = {{TestKind::unixSocket, bad, 0, "", "", TestState::failed},
                               {TestKind::port, "", 80, "TCP", bad, TestState::untested}};
    inspection_.services.push_back(service);
    const std::string xml = xmlDocument(inspection_);
    const std::string json = jsonDocument(inspection_);
    const auto count = [](const std::string& text, const std::string& part) {
        std::size_t found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count(xml, "a\uFFFD\uFFFD&lt;&amp;"), 10U) << xml;
    EXPECT_EQ(count(json, "a\uFFFD\uFFFD<&\\\""), 10U) << json;
}

TEST_F(Documents, ThrowIfTheyCannotBeMade) {
    {
        const FailingCall failing("xmlReadMemory");
        EXPECT_THROW(xmlDocument(inspection_), std::runtime_error);
        EXPECT_THROW(jsonDocument(inspection_), std::runtime_error);
    }
    const FailingCall failing("xmlDocDumpFormatMemoryEnc", 0, 1, 1); // after the report's own
    EXPECT_THROW(xmlDocument(inspection_), std::runtime_error);
}

} // namespace keldo::inspect
