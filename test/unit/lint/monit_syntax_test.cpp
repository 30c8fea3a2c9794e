// SPDX-License-Identifier: MIT

#include "lint/monit_syntax.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(UnquotableCharacter, NamesTheFirstOne) {
    const std::pair<const char*, const char*> table[] = {
        {"a b", "a space"},
        {"a\nb", "a line feed"},
        {"a\tb", "a tab"},
        {"a\"b", "a quote"},
        {"a'", "a quote"},
        {",a", "a comma"},
        {"a(b", "a parenthesis"},
        {"a)", "a parenthesis"},
        {"a\rb", "a control character"},
        {"a:b", "the character :"},
        {"a%", "the character %"},
        {"{", "the character {"},
        {"a;", "the character ;"},
        {"a b(c,d", "a space"},
        {"", ""},
        {"web", ""},
        {"Größe", ""},
        {"/run/a-b_c.d+e=f#g~1", ""},
        {"a\\b", ""},
        {"a<b>&c", ""},
    };
    for (const auto& [text, name] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(unquotableCharacter(text), name);
    }
}

TEST(MonitProtocol, IsKnownInUpperAndLowerCase) {
    const struct {
        const char* name;
        bool isProtocol;
        bool isUdp;
    } table[] = {
        {"http", true, false},
        {"HTTP", true, false},
        {"Imap", true, false},
        {"default", true, false},
        {"spamassassin", true, false},
        {"radius", true, true},
        {"RADIUS", true, true},
        {"", false, false},
        {" ", false, false},
        {"htt", false, false},
        {"httpx", false, false},
        {"imap imaps", false, false},
        {"generic", false, false},
        {"websocket", false, false},
        {"apache-status", false, false},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(isMonitProtocol(row.name), row.isProtocol);
        EXPECT_EQ(isUdpProtocol(row.name), row.isUdp);
    }
}

TEST(SameMonitName, IgnoresCase) {
    EXPECT_TRUE(isSameMonitName("Web-1", "wEB-1"));
    EXPECT_FALSE(isSameMonitName("web", "web1"));
    EXPECT_FALSE(isSameMonitName("", "web"));
}

} // namespace
} // namespace keldo::lint
