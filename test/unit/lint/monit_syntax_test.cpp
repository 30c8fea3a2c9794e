// SPDX-License-Identifier: MIT

#include "lint/monit_syntax.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(UnquotableCharacter, IsNamed) {
    const std::pair<const char*, const char*> table[] = {
        {"a b", "a space"},         {"a\nb", "a line feed"},   {"a\tb", "a tab"},
        {"a\"b", "a quote"},        {"a'", "a quote"},         {",a", "a comma"},
        {"a(b", "a parenthesis"},   {"a)", "a parenthesis"},   {"a\rb", "a control character"},
        {"a:b", "the character :"}, {"a%", "the character %"}, {"{", "the character {"},
        {"a;", "the character ;"},  {"a b(c,d", "a space"},
    };
    for (const auto& [text, name] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(unquotableCharacter(text), name);
    }
}

TEST(UnquotableCharacter, IsNoneOfANames) {
    for (const char* text : {"", "web", "/run/a-b_c.d+e=f#g~1", "Größe", "a\\b", "a<b>&c"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(unquotableCharacter(text), "");
    }
}

TEST(MonitProtocol, IsKnownInAnyCase) {
    for (const char* name : {"http", "HTTP", "Imap", "clamav", "tns", "postfix-policy", "Radius"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(isMonitProtocol(name));
    }
}

TEST(MonitProtocol, IsNoOtherWordNorOneThatTakesMore) {
    for (const char* name : {"", "htt", "httpx", "generic", "websocket", "apache-status", "if"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(isMonitProtocol(name));
    }
}

TEST(ProtocolOfUdpAlone, IsKnownInAnyCase) {
    EXPECT_TRUE(isProtocolOfUdpAlone("radius"));
    EXPECT_TRUE(isProtocolOfUdpAlone("RADIUS"));
    EXPECT_FALSE(isProtocolOfUdpAlone("dns"));
    EXPECT_FALSE(isProtocolOfUdpAlone(""));
}

TEST(MonitKeyword, IsKnownInAnyCase) {
    for (const char* word : {"if", "IF", "Check", "action", "write"}) {
        SCOPED_TRACE(word);
        EXPECT_TRUE(isMonitKeyword(word));
    }
}

TEST(MonitKeyword, IsNoOtherWordNorTheNameOfAProtocol) {
    for (const char* word : {"", "web", "iff", "mysql", "dns", "radius"}) {
        SCOPED_TRACE(word);
        EXPECT_FALSE(isMonitKeyword(word));
    }
}

TEST(SameMonitName, IsSoInAnyCase) {
    EXPECT_TRUE(isSameMonitName("Web-1", "wEB-1"));
    EXPECT_FALSE(isSameMonitName("web", "web1"));
    EXPECT_FALSE(isSameMonitName("", "web"));
}

} // namespace
} // namespace keldo::lint
