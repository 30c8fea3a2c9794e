// SPDX-License-Identifier: MIT

#include "xml/xpath.h"

#include <array>
#include <charconv>
#include <libxml/xpathInternals.h>
#include <utility>

namespace keldo {

namespace {

/// All process-wide state of this folder: a context that no document uses, or null. Set by
/// ~XPathContext, taken by the next XPathContext, freed at exit.
std::unique_ptr<xmlXPathContext, XPathContextCloser> spareContext;

/// Like printf's %.16g, but independent of the locale, which may have a decimal comma.
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

XPathContext::XPathContext(xmlDoc* document)
    : context_(spareContext ? std::move(spareContext)
                            : decltype(context_)(xmlXPathNewContext(document))) {
    if (context_) {
        context_->doc = document;
    }
}

XPathContext::~XPathContext() {
    if (!context_) {
        return;
    }
    xmlXPathRegisteredNsCleanup(context_.get());
    context_->doc = nullptr;
    // A failed evaluation may leave these pointing into the document.
    context_->node = nullptr;
    context_->contextSize = -1;
    context_->proximityPosition = -1;
    spareContext = std::move(context_);
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
