// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/file.h"
#include "xml/characters.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace keldo::adapter {

namespace {

/// Takes the text before `end` off the front of `rest`, and `end` too. Returns nothing, with `rest`
/// as it was, if there is no `end`.
std::optional<std::string_view> takeUntilIfAny(std::string_view& rest, std::string_view end) {
    const size_t at = rest.find(end);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view taken = rest.substr(0, at);
    rest.remove_prefix(at + end.size());
    return taken;
}

std::string_view takeUntil(std::string_view& rest, std::string_view end) {
    const std::optional<std::string_view> taken = takeUntilIfAny(rest, end);
    if (!taken) {
        throw Failure("unexpected status of the monitor -- no " + std::string(end));
    }
    return *taken;
}

constexpr std::string_view cdataBegin = "<![CDATA[";
constexpr std::string_view cdataEnd = "]]>";

std::string_view withoutCdata(std::string_view text) {
    const bool isCdata = text.starts_with(cdataBegin) && text.ends_with(cdataEnd);
    const size_t markup = cdataBegin.size() + cdataEnd.size();
    return isCdata ? text.substr(cdataBegin.size(), text.size() - markup) : text;
}

/// `name` in CDATA, where "]]>" can stand only in two sections.
std::string inCdata(std::string name) {
    for (size_t at = 0; (at = name.find(cdataEnd, at)) != std::string::npos;) {
        constexpr std::string_view divided = "]]]]><![CDATA[>";
        name.replace(at, cdataEnd.size(), divided);
        at += divided.size();
    }
    return std::string(cdataBegin) + name + std::string(cdataEnd);
}

/// The name that monit wrote as `text`. Monit 5 writes a name as it is, monit 6.0 in CDATA. Another
/// version may escape names, so "a&amp;b" may be a name or the escaped form of "a&b". The names
/// `known` decide.
std::string nameIn(std::string_view text, const std::vector<std::string>& known) {
    const std::string name(withoutCdata(text));
    for (const std::string& candidate : {std::string(text), name}) {
        if (std::ranges::find(known, candidate) != known.end()) {
            return candidate;
        }
    }
    const auto escaped = std::ranges::find_if(known, [text](const std::string& other) {
        return text == inCdata(other) || text == escapeXml(other);
    });
    return escaped != known.end() ? *escaped : name;
}

/// Reads the number before the first `end` in `text`. Returns 0 if there is none, or if it is so
/// large that a sum could overflow.
std::int64_t numberBefore(std::string_view text, std::string_view end) {
    constexpr std::int64_t most = 1'000'000'000'000;
    std::string_view digits = text.substr(0, text.find(end));
    digits.remove_prefix(digits.rfind('>') + 1); // 0 if there is none
    std::int64_t number = 0;
    const char* const last = digits.data() + digits.size();
    const bool isNumber = std::from_chars(digits.data(), last, number).ptr == last;
    return isNumber && number >= 0 && number <= most ? number : 0;
}

/// Reads one result off the front of `rest`, which begins behind <port> or <unix>. The target is
/// the text between `begin` and `end`.
std::optional<ConnectionResult> takeResult(std::string_view& rest, std::string_view begin,
                                           std::string_view end) {
    const auto before = takeUntilIfAny(rest, begin);
    const auto target = takeUntilIfAny(rest, end);
    if (rest.starts_with("<request>")) {
        takeUntilIfAny(rest, "]]></request>"); // it may contain markup
    }
    const auto detail = takeUntilIfAny(rest, "<responsetime>");
    const auto time = takeUntilIfAny(rest, "</responsetime>");
    if (!before || !target || !detail || !time) {
        return std::nullopt;
    }
    return ConnectionResult{std::string(*target), std::string(*time)};
}

/// Reads the results of a service from `rest`, the remaining text of this service.
void takeResults(std::string_view rest, Service& service) {
    for (size_t at = 0; (at = rest.find('<')) != std::string_view::npos;) {
        rest.remove_prefix(at);
        const bool isPort = rest.starts_with("<port>");
        const bool isUnix = rest.starts_with("<unix>");
        if (!isPort && !isUnix) {
            rest.remove_prefix(1);
            continue;
        }
        // A path may contain markup, so the element that follows decides where it ends.
        std::optional<ConnectionResult> result =
            isPort ? takeResult(rest, "<portnumber>", "</portnumber>")
                   : takeResult(rest, "<path>", "</path><protocol>");
        if (!result) {
            return;
        }
        (isPort ? service.ports : service.unixPaths).push_back(std::move(*result));
    }
}

} // namespace

// A scan, since libxml2 cannot read the document: monit writes paths, and monit 5 also names,
// unescaped and in any encoding, so that a service named "w&b" makes the document ill-formed.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName,
                                const std::vector<std::string>& names) {
    std::vector<Service> services;
    for (size_t at = 0; (at = status.find("<service ")) != std::string_view::npos;) {
        status.remove_prefix(at);
        takeUntil(status, "<name>");
        Service service;
        // A name may contain markup, so the element that follows decides where it ends.
        service.name = nameIn(takeUntil(status, "</name><collected_sec>"), names);
        const std::string_view times = takeUntil(status, "<status>");
        service.collected = std::chrono::seconds(numberBefore(times, "</collected_sec>")) +
                            std::chrono::microseconds(numberBefore(times, "</collected_usec>"));
        service.status = takeUntil(status, "</status>");
        takeUntil(status, "<monitor>");
        service.monitor = takeUntil(status, "</monitor>");
        takeResults(status.substr(0, status.find("<service ")), service);
        if (service.name != ownName) {
            services.push_back(std::move(service));
        }
    }
    return services;
}

std::string_view statusOf(const Service& service) {
    // No test of a process or port sets bit 1, which stands for a changed checksum, so the status 1
    // cannot be monit's.
    return service.isChecked() ? std::string_view(service.status) : "1";
}

std::string documentOf(const std::vector<Service>& services) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n";
    for (const Service& service : services) {
        document += "  <service>\n    <name>" + escapeXml(service.name) + "</name>\n    <status>" +
                    escapeXml(statusOf(service)) + "</status>\n  </service>\n";
    }
    return document + "</monit>\n";
}

} // namespace keldo::adapter
