// SPDX-License-Identifier: MIT

#include "monitor/service_definition.h"

#include "conf/config_value.h"
#include "xml/handles.h"
#include "xml/xpath.h"

#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <exception>
#include <libxml/catalog.h>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>
#include <utility>

namespace keldo {

const char* const definitionNamespace = "http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1";

namespace {

/// The elements at one position: at most one of each `checks` element, in document order.
using ElementsAtPosition = std::vector<const xmlNode*>;

/// How many elements there are. Throws where libxml2 could not evaluate the expression: its text is
/// empty then, which is no number.
int countOf(const std::string& elements, xmlXPathContext* context) {
    return boost::lexical_cast<int>(xpathString("count(" + elements + ")", context));
}

/// The elements that `elements` selects, by their position among those of their parent. One pass
/// over them all gives what evaluating `elements`[position()=i] for each i would.
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

/// The value of the first attribute of that name and of no namespace, over all the elements.
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

PortType portType(const std::string& text) {
    if (text == "UDP") {
        return PortType::UDP;
    }
    return text == "TCPSSL" ? PortType::TCPSSL : PortType::TCP;
}

std::uint32_t portNumber(const std::string& text) {
    try {
        return text.empty() ? 0 : boost::lexical_cast<std::uint32_t>(text);
    } catch (const std::exception&) {
        return 0;
    }
}

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

ServiceDefinition readServiceDefinition(const std::string& path) {
    ServiceDefinition definition;
    xmlCheckVersion(oldestLibxml2);
    // Else a file that is missing would be looked for in the machine's XML catalogues, which the
    // environment may name and which may lead to the network.
    xmlCatalogSetDefaults(XML_CATA_ALLOW_NONE);
    const XmlDocument document(xmlParseFile(path.c_str()));
    if (!document) {
        return definition;
    }
    const XPathContext context = xpathContext(document.get());
    if (!context) {
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

ServiceDefinition::ServiceDefinition(const std::string& requestedId)
    : ServiceDefinition(readServiceDefinition(configValue("PRODUCT_ETC_D") + "/service/" +
                                              requestedId + ".xml")) {}

} // namespace keldo
