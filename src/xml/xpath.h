// SPDX-License-Identifier: MIT

#pragma once

#include "xml/handles.h"

#include <libxml/xpath.h>
#include <memory>
#include <string>

namespace keldo {

/// Keeps the context for the next document. A context is of a document and a result of both:
/// declare them in that order, they go in reverse.
struct XPathContextKeeper {
    void operator()(xmlXPathContext* context) const noexcept;
};
using XPathContext = std::unique_ptr<xmlXPathContext, XPathContextKeeper>;

struct XPathObjectCloser {
    void operator()(xmlXPathObject* object) const noexcept { xmlXPathFreeObject(object); }
};
using XPathObject = std::unique_ptr<xmlXPathObject, XPathObjectCloser>;

/// A context to evaluate expressions in, of a document that outlives it, without namespaces. As one
/// by xmlXPathNewContext(), but making that takes longer than all that a document is asked for, so
/// one that is kept is used first. Null without memory.
XPathContext xpathContext(xmlDoc* document);

/// Evaluates an XPath expression. Null where libxml2 gives no result: a syntax error, an unknown
/// prefix.
XPathObject evaluateXPath(const std::string& expression, xmlXPathContext* context);

/// The content of a node as xmlNodeGetContent gives it, untrimmed: of an element all text below
/// it, of an attribute its value. Empty for a null node.
std::string nodeContent(const xmlNode* node);

/// The value of an XPath expression as text: of a node set the content of its first node, "true" or
/// "false", a number with up to 16 significant digits, a string as it is. Empty for an empty node
/// set, any other kind of value, and where there is no result.
std::string xpathString(const std::string& expression, xmlXPathContext* context);

} // namespace keldo
