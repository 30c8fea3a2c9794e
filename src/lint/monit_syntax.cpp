// SPDX-License-Identifier: MIT

#include "lint/monit_syntax.h"

#include <algorithm>

namespace keldo::lint {

namespace {

/// Those that monit 5.33 takes by their name alone, sorted.
constexpr std::string_view protocols[] = {
    "clamav",         "default", "dns",    "dwp",   "fail2ban", "ftp",   "gps",      "http",
    "https",          "imap",    "imaps",  "ldap2", "ldap3",    "lmtp",  "memcache", "mongodb",
    "mqtt",           "mysql",   "mysqls", "nntp",  "ntp3",     "pgsql", "pop",      "pops",
    "postfix-policy", "rdate",   "redis",  "rsync", "sieve",    "sip",   "smtp",     "smtps",
    "spamassassin",   "ssh",     "tns"};

/// Which it takes alike, but on a UDP port alone.
constexpr std::string_view protocolsOfUdpAlone[] = {"radius"};

/// The words of its manual page that monit 5.33 takes for more than a text where it expects one,
/// less the protocols above; sorted.
constexpr std::string_view keywords[] = {"action",
                                         "active",
                                         "activity",
                                         "address",
                                         "alert",
                                         "allow",
                                         "and",
                                         "apache-status",
                                         "are",
                                         "as",
                                         "atime",
                                         "attribute",
                                         "auto",
                                         "b",
                                         "basedir",
                                         "batch",
                                         "but",
                                         "byte",
                                         "bytein",
                                         "byteout",
                                         "bytes",
                                         "cacertificatefile",
                                         "cacertificatepath",
                                         "capacity",
                                         "certificate",
                                         "changed",
                                         "check",
                                         "checksum",
                                         "child",
                                         "children",
                                         "ciphers",
                                         "cleanuplimit",
                                         "cleartext",
                                         "clientpemfile",
                                         "closelimit",
                                         "connection",
                                         "content",
                                         "core",
                                         "count",
                                         "cpu",
                                         "credentials",
                                         "crypt",
                                         "ctime",
                                         "cycle",
                                         "cycles",
                                         "daemon",
                                         "data",
                                         "database",
                                         "day",
                                         "days",
                                         "delay",
                                         "depend",
                                         "depends",
                                         "disable",
                                         "disk",
                                         "dnslimit",
                                         "does",
                                         "down",
                                         "download",
                                         "downloaded",
                                         "echo",
                                         "else",
                                         "enable",
                                         "eq",
                                         "equal",
                                         "eventqueue",
                                         "every",
                                         "exec",
                                         "execute",
                                         "exist",
                                         "exists",
                                         "expect",
                                         "failed",
                                         "filecontentbuffer",
                                         "filedescriptors",
                                         "fips",
                                         "for",
                                         "free",
                                         "fsflags",
                                         "gb",
                                         "get",
                                         "gid",
                                         "gigabyte",
                                         "gracefullimit",
                                         "greater",
                                         "group",
                                         "gt",
                                         "h",
                                         "has",
                                         "head",
                                         "host",
                                         "hostname",
                                         "hour",
                                         "hours",
                                         "httpcontentbuffer",
                                         "httpd",
                                         "icmp",
                                         "if",
                                         "ignore",
                                         "in",
                                         "include",
                                         "init",
                                         "inode",
                                         "inodes",
                                         "instance",
                                         "interface",
                                         "invalid",
                                         "ipv4",
                                         "ipv6",
                                         "is",
                                         "kb",
                                         "keepalivelimit",
                                         "kilobyte",
                                         "last",
                                         "laststate",
                                         "less",
                                         "limits",
                                         "link",
                                         "loadavg",
                                         "log",
                                         "logfile",
                                         "loglimit",
                                         "lt",
                                         "m",
                                         "mail-format",
                                         "mailserver",
                                         "manual",
                                         "match",
                                         "matching",
                                         "maxforward",
                                         "mb",
                                         "md5",
                                         "megabyte",
                                         "mem",
                                         "memory",
                                         "method",
                                         "millisecond",
                                         "milliseconds",
                                         "minute",
                                         "minutes",
                                         "mmonit",
                                         "mode",
                                         "month",
                                         "more",
                                         "ms",
                                         "mtime",
                                         "ne",
                                         "networktimeout",
                                         "newer",
                                         "noalert",
                                         "nonexist",
                                         "nostart",
                                         "not",
                                         "notequal",
                                         "of",
                                         "older",
                                         "on",
                                         "only",
                                         "onreboot",
                                         "operation",
                                         "operations",
                                         "option",
                                         "options",
                                         "or",
                                         "origin",
                                         "packet",
                                         "packetin",
                                         "packetout",
                                         "packets",
                                         "passive",
                                         "password",
                                         "path",
                                         "pemchain",
                                         "pemfile",
                                         "pemkey",
                                         "per",
                                         "percent",
                                         "perm",
                                         "permission",
                                         "pid",
                                         "pidfile",
                                         "ping",
                                         "ping4",
                                         "ping6",
                                         "port",
                                         "ppid",
                                         "program",
                                         "programoutput",
                                         "programs",
                                         "programtimeout",
                                         "proto",
                                         "protocol",
                                         "rate",
                                         "read",
                                         "read-only",
                                         "register",
                                         "reject",
                                         "reminder",
                                         "repeat",
                                         "replylimit",
                                         "request",
                                         "requestlimit",
                                         "resource",
                                         "responsetime",
                                         "restart",
                                         "restarts",
                                         "restarttimeout",
                                         "retry",
                                         "rsakey",
                                         "s",
                                         "saturation",
                                         "second",
                                         "seconds",
                                         "secret",
                                         "security",
                                         "selfsigned",
                                         "send",
                                         "sendexpectbuffer",
                                         "set",
                                         "sha1",
                                         "signature",
                                         "size",
                                         "slots",
                                         "space",
                                         "speed",
                                         "ssl",
                                         "sslv2",
                                         "sslv3",
                                         "start",
                                         "startlimit",
                                         "starttimeout",
                                         "statefile",
                                         "status",
                                         "stop",
                                         "stoptimeout",
                                         "succeeded",
                                         "swap",
                                         "syslog",
                                         "target",
                                         "tcp",
                                         "terminal",
                                         "than",
                                         "the",
                                         "then",
                                         "thread",
                                         "threads",
                                         "time",
                                         "timeout",
                                         "times",
                                         "timestamp",
                                         "tls",
                                         "tlsv1",
                                         "tlsv11",
                                         "tlsv12",
                                         "tlsv13",
                                         "to",
                                         "total",
                                         "type",
                                         "udp",
                                         "uid",
                                         "unix",
                                         "unixsocket",
                                         "unmonitor",
                                         "up",
                                         "upload",
                                         "uploaded",
                                         "uptime",
                                         "url",
                                         "usage",
                                         "use",
                                         "username",
                                         "using",
                                         "valid",
                                         "verify",
                                         "version",
                                         "via",
                                         "waitlimit",
                                         "was",
                                         "websocket",
                                         "with",
                                         "within",
                                         "without",
                                         "write"};

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char c) { return lowerCase(c); });
    return result;
}

bool isUnquotable(char c) {
    return (c >= 0 && c <= ' ') || std::string_view("!\"%'(),:;@{}").find(c) != std::string::npos;
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
    return std::ranges::binary_search(protocols, std::string_view(lowerCase(name))) ||
           isProtocolOfUdpAlone(name);
}

bool isProtocolOfUdpAlone(std::string_view name) {
    return std::ranges::binary_search(protocolsOfUdpAlone, std::string_view(lowerCase(name)));
}

bool isMonitKeyword(std::string_view word) {
    return std::ranges::binary_search(keywords, std::string_view(lowerCase(word)));
}

bool isSameMonitName(std::string_view a, std::string_view b) {
    return lowerCase(a) == lowerCase(b);
}

} // namespace keldo::lint
