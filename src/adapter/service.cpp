// SPDX-License-Identifier: MIT

#include "adapter/service.h"

#include "adapter/failure.h"

#include <cstddef>
#include <utility>

namespace keldo::adapter {

namespace {

/// Takes the text up to `end` off the front of `rest`, and `end` too.
std::string_view takeUntil(std::string_view& rest, std::string_view end) {
    const size_t at = rest.find(end);
    if (at == std::string_view::npos) {
        throw Failure("unexpected status of the monitor -- no " + std::string(end));
    }
    const std::string_view taken = rest.substr(0, at);
    rest.remove_prefix(at + end.size());
    return taken;
}

/// Reads a service's name off the front of `rest`, which begins behind <name>. Version 5 writes
/// names as they are, so one may look like an element itself: what follows it tells its end.
/// Version 6 writes them as CDATA.
std::string_view takeName(std::string_view& rest) {
    constexpr std::string_view cdata = "<![CDATA[";
    if (rest.starts_with(cdata)) {
        rest.remove_prefix(cdata.size());
        return takeUntil(rest, "]]></name>");
    }
    return takeUntil(rest, "</name><collected_sec>");
}

} // namespace

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

} // namespace keldo::adapter
