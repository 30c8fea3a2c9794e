// SPDX-License-Identifier: MIT

#include "adapter/document.h"

#include "adapter/xml_text.h"

#include <string_view>

namespace keldo::adapter {

namespace {

// The status of a service whose check was not over at the deadline. Of monit's bits it is the one
// of a changed checksum, which no test of a process or a port sets, so it cannot be mistaken.
constexpr std::string_view notCheckedStatus = "1";

} // namespace

std::string documentOf(const std::vector<Service>& services) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<monit>\n";
    for (const Service& service : services) {
        document += "  <service>\n    <name>" + xmlText(service.name) + "</name>\n    <status>" +
                    xmlText(service.isChecked ? service.status : notCheckedStatus) +
                    "</status>\n  </service>\n";
    }
    return document + "</monit>\n";
}

} // namespace keldo::adapter
