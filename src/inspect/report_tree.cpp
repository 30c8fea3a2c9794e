// SPDX-License-Identifier: MIT

#include "inspect/report_tree.h"

#include "report/report_writer.h"

#include <libxml/parser.h>
#include <stdexcept>

namespace keldo::inspect {

ReportTree reportTree() {
    // Without the report's indentation, since the whole document is indented later.
    constexpr int options = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_HUGE;
    const std::string report = reportDocument(problemModel);
    XmlDocument document(
        xmlReadMemory(report.data(), static_cast<int>(report.size()), nullptr, nullptr, options));
    if (!document || xmlDocGetRootElement(document.get()) == nullptr) {
        throw std::runtime_error("the report cannot be read");
    }
    return ReportTree(std::move(document));
}

} // namespace keldo::inspect
