// SPDX-License-Identifier: MIT

#include "monitor/monitor_run.h"

#include "support/decimal.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/quiet_libxml2.h"
#include "support/texts.h"
#include "xml/handles.h"
#include "xml/xpath.h"

#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <libxml/parser.h>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace {

/// The number of steps that an XPath expression may take; 0 for no limit.
unsigned long stepLimit = 0;

} // namespace

extern "C" {
xmlXPathObject* __real_xmlXPathEvalExpression(const xmlChar* expression, xmlXPathContext* context);
xmlXPathObject* __wrap_xmlXPathEvalExpression(const xmlChar* expression, xmlXPathContext* context);
}

xmlXPathObject* __wrap_xmlXPathEvalExpression(const xmlChar* expression, xmlXPathContext* context) {
    context->opLimit = stepLimit;
    context->opCount = 0;
    return __real_xmlXPathEvalExpression(expression, context);
}

namespace keldo::test {

namespace {

constexpr int noStatus = 12345;

// The model: walks through the elements of the document.

bool isElement(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && node->ns == nullptr &&
           xmlStrEqual(node->name, toXml(name)) != 0;
}

std::vector<const xmlNode*> childrenOf(const xmlNode* parent, const char* name) {
    std::vector<const xmlNode*> found;
    for (const xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (isElement(child, name)) {
            found.push_back(child);
        }
    }
    return found;
}

bool isNamed(const xmlNode* service, const std::string& wanted) {
    return std::ranges::any_of(childrenOf(service, "name"), [&wanted](const xmlNode* name) {
        return nodeContent(name) == wanted;
    });
}

std::string statusTextOf(const std::string& name, const xmlNode* root) {
    if (!isElement(root, "monit")) {
        return "";
    }
    for (const xmlNode* const service : childrenOf(root, "service")) {
        const auto statuses = childrenOf(service, "status");
        if (!statuses.empty() && isNamed(service, name)) {
            return nodeContent(statuses.front());
        }
    }
    return "";
}

/// The status of a service whose name has no apostrophe; nothing if it is not a number.
std::optional<int> statusOf(const std::string& name, const std::string& output) {
    const XmlDocument document(xmlParseMemory(output.data(), static_cast<int>(output.size())));
    const std::string text =
        document ? statusTextOf(name, xmlDocGetRootElement(document.get())) : "";
    if (text.empty()) {
        return noStatus;
    }
    const auto number = decimal(text);
    if (!number || *number < std::numeric_limits<int>::min() ||
        *number > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

// The function under test.

std::optional<int> monitorStatusOrNone(const std::string& name, const std::string& output) {
    try {
        return monitorStatus(name, output, noStatus);
    } catch (const boost::bad_lexical_cast&) {
        return std::nullopt;
    }
}

} // namespace

/// The input is the name of a service and the output of monit.
void tryInput(const std::string& input) {
    silenceLibxml2();
    Texts texts(input);
    const std::string name = texts.next();
    const std::string output = texts.next();
    // An apostrophe ends the string, so the rest of the name becomes a part of the expression. A
    // short expression may take for ever, so the number of its steps is limited.
    const bool isOneString = name.find('\'') == std::string::npos;
    stepLimit = isOneString ? 0 : 100000;
    const std::optional<int> status = monitorStatusOrNone(name, output);
    if (isOneString) {
        require(status == statusOf(name, output), "a service has its first status");
    }
}

} // namespace keldo::test
