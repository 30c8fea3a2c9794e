// SPDX-License-Identifier: MIT

#pragma once

#include "xml/handles.h"

#include <libxml/xpath.h>
#include <memory>
#include <string>

namespace keldo {

struct XPathContextCloser {
    void operator()(xmlXPathContext* context) const noexcept { xmlXPathFreeContext(context); }
};

/// An XPath context for one document, which must outlive it; no namespaces are registered.
/// The destructor keeps libxml2's context for the next document, since creating one costs more
/// than using it. Declare document, context and result in that order.
class XPathContext {
public:
    explicit XPathContext(xmlDoc* document);
    XPathContext(const XPathContext&) = delete;
    XPathContext& operator=(const XPathContext&) = delete;
    ~XPathContext();

    /// Null if there was no memory for a context.
    xmlXPathContext* get() const { return context_.get(); }

private:
    std::unique_ptr<xmlXPathContext, XPathContextCloser> context_;
};

struct XPathObjectCloser {
    void operator()(xmlXPathObject* object) const noexcept { xmlXPathFreeObject(object); }
};
using XPathObject = std::unique_ptr<xmlXPathObject, XPathObjectCloser>;

/// Evaluates an XPath expression. Returns null if libxml2 gives no result, for example because of a
/// syntax error or an unknown prefix.
XPathObject evaluateXPath(const std::string& expression, xmlXPathContext* context);

/// The untrimmed content of a node, as xmlNodeGetContent gives it: all text below an element, or
/// the value of an attribute. Empty for a null node.
std::string nodeContent(const xmlNode* node);

/// The value of an XPath expression as text: the content of a node set's first node, "true" or
/// "false", a number with up to 16 significant digits, or the string itself. Empty for an empty
/// node set, for any other kind of value, and if there is no result.
std::string xpathString(const std::string& expression, xmlXPathContext* context);

} // namespace keldo
