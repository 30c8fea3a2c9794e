// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/file.h"
#include "xml/characters.h"

#include <cstddef>
#include <utility>

namespace keldo::adapter {

namespace {

/// The status of a service whose check was not finished at the deadline. Monit uses this bit for a
/// changed checksum, which no test of a process or port sets, so it is unambiguous.
constexpr std::string_view notCheckedStatus = "1";

/// Takes the text before `end` off the front of `rest`, and `end` too.
std::string_view takeUntil(std::string_view& rest, std::string_view end) {
    const size_t at = rest.find(end);
    if (at == std::string_view::npos) {
        throw Failure("unexpected status of the monitor -- no " + std::string(end));
    }
    const std::string_view taken = rest.substr(0, at);
    rest.remove_prefix(at + end.size());
    return taken;
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

} // namespace

// A scan, since libxml2 cannot read the document: monit 5 writes names and paths unescaped and in
// any encoding, so that a service named "w&b" makes the document ill-formed.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName) {
    constexpr std::string_view waitingForFirstCheck = "2";
    std::vector<Service> services;
    for (size_t at = 0; (at = status.find("<service ")) != std::string_view::npos;) {
        status.remove_prefix(at);
        takeUntil(status, "<name>");
        Service service;
        service.name = takeName(status);
        takeUntil(status, "<status>");
        service.status = takeUntil(status, "</status>");
        takeUntil(status, "<monitor>");
        service.isChecked = takeUntil(status, "</monitor>") != waitingForFirstCheck;
        if (service.name != ownName) {
            services.push_back(std::move(service));
        }
    }
    return services;
}

std::string documentOf(const std::vector<Service>& services) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n";
    for (const Service& service : services) {
        document += "  <service>\n    <name>" + escapeXml(service.name) + "</name>\n    <status>" +
                    escapeXml(service.isChecked ? service.status : notCheckedStatus) +
                    "</status>\n  </service>\n";
    }
    return document + "</monit>\n";
}

} // namespace keldo::adapter
