// SPDX-License-Identifier: MIT

#include "xml/xpath.h"

#include <array>
#include <charconv>
#include <libxml/xpathInternals.h>

namespace keldo {

namespace {

struct XPathContextCloser {
    void operator()(xmlXPathContext* context) const noexcept { xmlXPathFreeContext(context); }
};

/// The one that is kept, if any.
std::unique_ptr<xmlXPathContext, XPathContextCloser> spareContext;

/// The locale has no say in this conversion, as it would have in printf's: no decimal comma.
std::string numberText(double number) {
    constexpr int significantDigits = 16;
    std::array<char, 32> buffer;
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                            std::chars_format::general, significantDigits);
    return error == std::errc() ? std::string(buffer.data(), end) : "";
}

std::string firstNodeContent(const xmlNodeSet* nodes) {
    return xmlXPathNodeSetIsEmpty(nodes) ? "" : nodeContent(nodes->nodeTab[0]);
}

} // namespace

void XPathContextKeeper::operator()(xmlXPathContext* context) const noexcept {
    xmlXPathRegisteredNsCleanup(context);
    context->doc = nullptr;
    // An expression that could not be evaluated may have left these within the document.
    context->node = nullptr;
    context->contextSize = -1;
    context->proximityPosition = -1;
    spareContext.reset(context);
}

XPathContext xpathContext(xmlDoc* document) {
    XPathContext context(spareContext ? spareContext.release() : xmlXPathNewContext(document));
    if (context) {
        context->doc = document;
    }
    return context;
}

XPathObject evaluateXPath(const std::string& expression, xmlXPathContext* context) {
    return XPathObject(xmlXPathEvalExpression(toXml(expression), context));
}

std::string nodeContent(const xmlNode* node) {
    return fromXml(XmlText(xmlNodeGetContent(node)).get());
}

std::string xpathString(const std::string& expression, xmlXPathContext* context) {
    const XPathObject object = evaluateXPath(expression, context);
    if (!object) {
        return "";
    }
    switch (object->type) {
    case XPATH_NODESET:
        return firstNodeContent(object->nodesetval);
    case XPATH_BOOLEAN:
        return object->boolval != 0 ? "true" : "false";
    case XPATH_NUMBER:
        return numberText(object->floatval);
    case XPATH_STRING:
        return fromXml(object->stringval);
    default:
        return "";
    }
}

} // namespace keldo
