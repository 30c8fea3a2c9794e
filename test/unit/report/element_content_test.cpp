// SPDX-License-Identifier: MIT

#include "report/element_content.h"

#include "support/random_texts.h"
#include "xml/characters.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <regex>

namespace keldo {
namespace {

using namespace std::string_literals;

TEST(ElementContent, KeepsReferencesAndTextWithoutAmpersands) {
    for (const std::string text : {"",
                                   "läuft <b> ]]> \r\n",
                                   "&lt;",
                                   "&gt;",
                                   "&amp;",
                                   "&quot;",
                                   "&apos;",
                                   "&lt;x",
                                   "&amp;amp;",
                                   "&#9;",
                                   "&#10;",
                                   "&#13;",
                                   "&#32;",
                                   "&#65;",
                                   "&#x41;",
                                   "&#xe4;",
                                   "&#xE4;",
                                   "&#xD7FF;",
                                   "&#xE000;",
                                   "&#xFFFD;",
                                   "&#x10000;",
                                   "&#x10FFFF;",
                                   "&#1114111;",
                                   "&#38;lt;",
                                   "&#0000000000000000000000000000000065;",
                                   "&#x00000000000000000000000000000041;"}) {
        EXPECT_EQ(text, elementContent(text));
        EXPECT_EQ("a" + text + "b", elementContent("a" + text + "b"));
    }
}

TEST(ElementContent, EscapesAmpersandsThatBeginNoReference) {
    for (const std::string afterAmpersand : {"",
                                             " b",
                                             " b; c",
                                             ";",
                                             "amp",
                                             "amp",
                                             "amp ;",
                                             "AMP;",
                                             "lt",
                                             "ltx;",
                                             "unknown;",
                                             "nbsp;",
                                             "#",
                                             "#;",
                                             "#x",
                                             "#x;",
                                             "#65",
                                             "#65 ;",
                                             "# 65;",
                                             "#+65;",
                                             "#-65;",
                                             "#65x;",
                                             "#0x41;",
                                             "#x41",
                                             "#X41;",
                                             "#xZ;",
                                             "#x-41;",
                                             "#x0x41;",
                                             "#x 41;",
                                             "#0;",
                                             "#x0;",
                                             "#1;",
                                             "#8;",
                                             "#11;",
                                             "#31;",
                                             "#xD800;",
                                             "#xDFFF;",
                                             "#xFFFE;",
                                             "#xFFFF;",
                                             "#x110000;",
                                             "#1114112;",
                                             "#4294967361;",
                                             "#x100000041;",
                                             "#18446744073709551681;",
                                             "#99999999999999999999999999999999999999;",
                                             "#\u0663;"}) {
        EXPECT_EQ("&amp;" + afterAmpersand, elementContent("&" + afterAmpersand));
        EXPECT_EQ("a&amp;" + afterAmpersand, elementContent("a&" + afterAmpersand));
    }
}

TEST(ElementContent, DecidesAboutEachAmpersandOnItsOwn) {
    const struct {
        std::string text;
        const char* content;
    } rows[] = {
        {"&&", "&amp;&amp;"},
        {"&&amp;", "&amp;&amp;"},
        {"&amp;&", "&amp;&amp;"},
        {"&am&amp;p;", "&amp;am&amp;p;"},
        {"&#&#65;65;", "&amp;#&#65;65;"},
        {"&lt&gt;", "&amp;lt&gt;"},
        {"a && b; c", "a &amp;&amp; b; c"},
        {"/?a=1&b=2&lt=3&gt;=4", "/?a=1&amp;b=2&amp;lt=3&gt;=4"},
        {"&am\x01p; &\xE4uml; &#6\0;"s, "&amp;am\uFFFDp; &amp;\uFFFDuml; &amp;#6\uFFFD;"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.content, elementContent(row.text));
    }
}

TEST(ElementContent, ReadsNothingPastTheEnd) {
    EXPECT_EQ("&amp;am", elementContent(std::string_view("&amp;", 3)));
    EXPECT_EQ("&amp;#65", elementContent(std::string_view("&#65;", 4)));
    EXPECT_EQ("&amp;#", elementContent(std::string_view("&#65;", 2)));
}

/// An independent model: the ampersands of `text` by a regular expression.
std::string modelContent(const std::string& text) {
    static const std::regex form("&(?:lt|gt|amp|quot|apos|#([0-9]+)|#x([0-9a-fA-F]+));");
    std::string result;
    for (auto at = text.begin(); at != text.end(); ++at) {
        std::smatch match;
        const bool hasForm =
            std::regex_search(at, text.end(), match, form, std::regex_constants::match_continuous);
        const bool isNumber = hasForm && (match[1].matched || match[2].matched);
        const unsigned long number = !isNumber ? 'x'
                                     : match[1].matched
                                         ? std::strtoul(match.str(1).c_str(), nullptr, 10)
                                         : std::strtoul(match.str(2).c_str(), nullptr, 16);
        const bool isReference =
            hasForm && number <= 0x10FFFF && isXmlCharacter(static_cast<char32_t>(number));
        result += *at;
        result += *at == '&' && !isReference ? "amp;" : "";
    }
    return result;
}

TEST(ElementContent, MatchesTheModelForRandomTexts) {
    test::RandomTexts random;
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t pieces = random.number(6); pieces > 0; --pieces) {
            text += random.number(2) == 0 ? "&#" : "&" + random.text("amplt", 4);
            text += random.text("x0123DF", 7) + random.text(";;& ", 1);
        }
        ASSERT_EQ(modelContent(text), elementContent(text)) << text;
    }
}

} // namespace
} // namespace keldo
