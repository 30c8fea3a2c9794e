// SPDX-License-Identifier: MIT

#include "monitor/service_definition_reader.h"

#include "xml/handles.h"
#include "xml/xpath.h"

#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <libxml/xpathInternals.h>
#include <utility>

namespace keldo {

namespace {

/// Elements that have the same position in their `checks` elements, in document order.
using ElementsAtPosition = std::vector<const xmlNode*>;

/// Counts the elements. Throws boost::bad_lexical_cast if libxml2 cannot evaluate the expression:
/// the empty text is not a number.
int countOf(const std::string& elements, xmlXPathContext* context) {
    return boost::lexical_cast<int>(xpathString("count(" + elements + ")", context));
}

/// Groups the elements that the expression `elements` selects by their position in their parent.
/// Gives in one pass the results of `elements`[position()=i] for each i.
std::vector<ElementsAtPosition> elementsByPosition(const std::string& elements,
                                                   xmlXPathContext* context) {
    std::vector<ElementsAtPosition> positions;
    if (countOf(elements, context) < 1) {
        return positions;
    }
    const XPathObject found = evaluateXPath(elements, context);
    if (!found || xmlXPathNodeSetIsEmpty(found->nodesetval)) {
        return positions;
    }
    const xmlNode* parent = nullptr;
    std::size_t position = 0;
    for (int i = 0; i < found->nodesetval->nodeNr; ++i) {
        const xmlNode* const element = found->nodesetval->nodeTab[i];
        position = element->parent == parent ? position + 1 : 0;
        parent = element->parent;
        if (position == positions.size()) {
            positions.emplace_back();
        }
        positions[position].push_back(element);
    }
    return positions;
}

/// The value of the first attribute of that name in any of the elements. Attributes with a
/// namespace are ignored.
std::string firstAttribute(const ElementsAtPosition& elements, const char* name) {
    for (const xmlNode* const element : elements) {
        for (const xmlAttr* attribute = element->properties; attribute != nullptr;
             attribute = attribute->next) {
            if (attribute->ns == nullptr && xmlStrEqual(attribute->name, toXml(name)) != 0) {
                return nodeContent(reinterpret_cast<const xmlNode*>(attribute));
            }
        }
    }
    return "";
}

std::string titleIn(const std::string& language, xmlXPathContext* context) {
    return xpathString("/s:service/s:title[@xml:lang='" + language + "']", context);
}

} // namespace

Message readTitle(xmlXPathContext* context) {
    const std::string title = titleIn(currentLanguage, context);
    if (!title.empty()) {
        return {title, currentLanguage};
    }
    return {titleIn(englishLanguage, context), englishLanguage};
}

std::vector<UnixSocketCheck> readUnixSocketChecks(xmlXPathContext* context) {
    std::vector<UnixSocketCheck> checks;
    for (const auto& elements : elementsByPosition("/s:service/s:checks/s:unix-socket", context)) {
        UnixSocketCheck check = {nodeContent(elements.front()),
                                 firstAttribute(elements, "protocol")};
        if (!check.path.empty()) {
            checks.push_back(std::move(check));
        }
    }
    return checks;
}

std::vector<PortCheck> readPortChecks(xmlXPathContext* context) {
    std::vector<PortCheck> checks;
    for (const auto& elements : elementsByPosition("/s:service/s:checks/s:port", context)) {
        PortCheck check = {portType(firstAttribute(elements, "type")),
                           portNumber(firstAttribute(elements, "number")),
                           firstAttribute(elements, "protocol")};
        if (check.number != 0) {
            checks.push_back(std::move(check));
        }
    }
    return checks;
}

ServiceDefinition readServiceDefinition(xmlDoc* document) {
    ServiceDefinition definition;
    const XPathContext context(document);
    if (context.get() == nullptr) {
        return definition;
    }
    xmlXPathRegisterNs(context.get(), toXml("s"), toXml(definitionNamespace));
    definition.id = xpathString("/s:service/@id", context.get());
    definition.title = readTitle(context.get());
    definition.startAction = xpathString("/s:service/s:action[@type='start']", context.get());
    definition.stopAction = xpathString("/s:service/s:action[@type='stop']", context.get());
    definition.pidFile = xpathString("/s:service/s:checks/s:pid-file", context.get());
    definition.unixSockets = readUnixSocketChecks(context.get());
    definition.ports = readPortChecks(context.get());
    return definition;
}

} // namespace keldo
