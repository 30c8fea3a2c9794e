// SPDX-License-Identifier: MIT

#include "adapter/batch.h"

#include <gtest/gtest.h>

namespace keldo::adapter {
namespace {

using std::chrono::microseconds;

const std::string begin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit batch=\"1\"";

/// The text between the first `before` and the next `after`; "none" without them.
std::string between(const std::string& text, const std::string& before, const std::string& after) {
    const size_t at = text.find(before);
    return at == std::string::npos
               ? "none"
               : text.substr(at + before.size(), text.find(after, at) - at - before.size());
}

TEST(BatchDocument, HasAllThatIsKnownOfEachService) {
    EXPECT_EQ(batchDocumentOf({}), begin + ">\n</monit>\n");
    const Findings findings{
        {{"w&b", "32", "1", microseconds(5012000), {{"80", "-1"}}, {{"/<", "0.1"}}},
         {"dns", "512"}},
        "'w&b' is <down>\n",
        microseconds(5000000)};
    EXPECT_EQ(batchDocumentOf(findings),
              begin + ">\n"
                      "  <service>\n"
                      "    <name>w&amp;b</name>\n"
                      "    <status>32</status>\n"
                      "    <monitor>1</monitor>\n"
                      "    <checked>1</checked>\n"
                      "    <seconds>0.012</seconds>\n"
                      "    <port><number>80</number><responsetime>-1</responsetime></port>\n"
                      "    <unix><path>/&lt;</path><responsetime>0.1</responsetime></unix>\n"
                      "    <words>'w&amp;b' is &lt;down&gt;</words>\n"
                      "  </service>\n"
                      "  <service>\n"
                      "    <name>dns</name>\n"
                      "    <status>1</status>\n"
                      "    <monitor>2</monitor>\n"
                      "    <checked>0</checked>\n"
                      "    <seconds>0.000</seconds>\n"
                      "  </service>\n"
                      "</monit>\n");
}

TEST(BatchDocument, HasTheSecondsSinceThePreviousCheck) {
    const struct {
        std::optional<microseconds> begin;
        std::vector<int> collected;
        std::string seconds; ///< of the first service
    } rows[] = {
        {microseconds(1000), {8000}, "0.007"},          {{}, {8000}, "0.000"},
        {microseconds(9000), {8000}, "0.000"},          {microseconds(0), {0}, "0.000"},
        {microseconds(1000), {8000, 5000}, "0.003"},    {{}, {8000, 5000, 9000}, "0.003"},
        {microseconds(1), {61234567}, "61.234"},        {microseconds(1), {999999}, "0.999"},
        {microseconds(1000), {8000, 8000, 0}, "0.007"}, {{}, {8000, 0}, "0.000"},
    };
    for (const auto& [start, collected, seconds] : rows) {
        SCOPED_TRACE(testing::PrintToString(collected));
        Findings findings{{}, "", start};
        for (const int time : collected) {
            findings.services.push_back({"web", "0", "1", microseconds(time)});
        }
        EXPECT_EQ(between(batchDocumentOf(findings), "<seconds>", "</seconds>"), seconds);
    }
}

TEST(BatchDocument, HasTheLinesThatBeginWithTheQuotedName) {
    const std::pair<std::string, std::string> rows[] = {
        {"", "none"},
        {"web' is down\n'webs' is down\n 'web' x\n'mail' needs 'web'\n", "none"},
        {"'own' started\n'web' is down\n'mail' is down\n'web' restart\n",
         "'web' is down\n'web' restart"},
        {"\n\n'web' no end of line", "'web' no end of line"},
        {"'web' a\r\n", "'web' a&#13;"},
        {"'web' \xFF\xE2\x82 \x01\n", "'web' \uFFFD\uFFFD \uFFFD"},
    };
    for (const auto& [printed, words] : rows) {
        SCOPED_TRACE(printed);
        EXPECT_EQ(
            between(batchDocumentOf({{{"web", "32", "1"}}, printed, {}}), "<words>", "</words>"),
            words);
    }
}

TEST(RefusalDocument, HasTheOutputOfMonit) {
    EXPECT_EQ(refusalDocumentOf("f:1: error '<'\n\nx\n"),
              begin + " refused=\"1\">\n  <words>f:1: error '&lt;'\n\nx</words>\n</monit>\n");
    EXPECT_EQ(refusalDocumentOf("\n"), begin + " refused=\"1\">\n</monit>\n");
}

TEST(RefusalDocument, HasAtMostFourKibibytesOfWholeCharacters) {
    const std::pair<std::string, std::string> rows[] = {
        {std::string(4096, 'x'), std::string(4096, 'x')},
        {std::string(4097, 'x'), std::string(4096, 'x')},
        {std::string(4094, 'x') + "\u20AC", std::string(4094, 'x')},
        {std::string(4093, 'x') + "\u20ACy", std::string(4093, 'x') + "\u20AC"},
        {std::string(4094, 'x') + "\xFF", std::string(4094, 'x')},
    };
    for (const auto& [printed, words] : rows) {
        EXPECT_EQ(between(refusalDocumentOf(printed), "<words>", "</words>"), words);
    }
}

} // namespace
} // namespace keldo::adapter
