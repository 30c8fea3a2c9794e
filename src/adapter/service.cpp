// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/file.h"
#include "xml/characters.h"

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

/// Reads a service's name off the front of `rest`, which begins behind <name>. In version 5 a name
/// may contain markup, so the element that follows decides where it ends. Version 6 writes CDATA.
std::string_view takeName(std::string_view& rest) {
    constexpr std::string_view cdata = "<![CDATA[";
    if (rest.starts_with(cdata)) {
        rest.remove_prefix(cdata.size());
        return takeUntil(rest, "]]></name>");
    }
    return takeUntil(rest, "</name><collected_sec>");
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

// A scan, since libxml2 cannot read the document: monit 5 writes names and paths unescaped and in
// any encoding, so that a service named "w&b" makes the document ill-formed.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName) {
    std::vector<Service> services;
    for (size_t at = 0; (at = status.find("<service ")) != std::string_view::npos;) {
        status.remove_prefix(at);
        takeUntil(status, "<name>");
        Service service;
        service.name = takeName(status);
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
