// SPDX-License-Identifier: MIT

#include "lint/monit_syntax.h"

#include "xml/characters.h"

#include <algorithm>

namespace keldo::lint {

namespace {

/// The protocols that monit 5.33 accepts without further words.
constexpr std::string_view protocols = " default clamav dns dwp fail2ban gps memcache mqtt rdate "
                                       " ftp http https nntp ntp3 rsync sip ssh tns "
                                       " imap imaps lmtp pop pops sieve smtp smtps "
                                       " ldap2 ldap3 mongodb mysql mysqls pgsql redis "
                                       " postfix-policy spamassassin ";

/// The protocols that it accepts without further words on UDP ports only.
constexpr std::string_view udpProtocols = " radius ";

constexpr std::string_view unquotableCharacters = "!\"%'(),:;@{}";

std::string lowerCaseOf(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), lowerCase);
    return result;
}

/// Whether `word` is one of `words`, which have a space on both sides of each. Ignores case.
bool contains(std::string_view words, std::string_view word) {
    return !word.empty() && word.find(' ') == std::string_view::npos &&
           words.find(' ' + lowerCaseOf(word) + ' ') != std::string_view::npos;
}

bool isUnquotable(char c) {
    return static_cast<unsigned char>(c) <= ' ' ||
           unquotableCharacters.find(c) != std::string_view::npos;
}

std::string nameOf(char c) {
    switch (c) {
    case ' ':
        return "a space";
    case '\n':
        return "a line feed";
    case '\t':
        return "a tab";
    case '"':
    case '\'':
        return "a quote";
    case ',':
        return "a comma";
    case '(':
    case ')':
        return "a parenthesis";
    default:
        return c < ' ' ? "a control character" : std::string("the character ") + c;
    }
}

} // namespace

std::string unquotableCharacter(std::string_view text) {
    for (const char c : text) {
        if (isUnquotable(c)) {
            return nameOf(c);
        }
    }
    return "";
}

bool isMonitProtocol(std::string_view name) {
    return contains(protocols, name) || isUdpProtocol(name);
}

bool isUdpProtocol(std::string_view name) {
    return contains(udpProtocols, name);
}

bool isSameMonitName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowerCase, lowerCase);
}

} // namespace keldo::lint
