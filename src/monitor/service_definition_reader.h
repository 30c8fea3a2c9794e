// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <vector>

/// Reads a service definition, and its parts, from a parsed document.

namespace keldo {

/// Reads the definition that a document holds. It is empty if there is no memory for an XPath
/// context. Throws boost::bad_lexical_cast if the checks cannot be counted.
ServiceDefinition readServiceDefinition(xmlDoc* document);

/// For the following functions, `context` belongs to the definition's document and has
/// definitionNamespace registered as "s".

/// The title in the report's language, or the English one if there is none. The text is empty if
/// both are missing.
Message readTitle(xmlXPathContext* context);

/// Read the checks position by position: the first unix socket (port) of any `checks` element, then
/// the second, and so on. If several `checks` elements have a socket (port) at one position, the
/// first of them counts, with the first attribute of each name; a valid definition has only one
/// `checks` element. A socket without a path is dropped, and so is a port whose number portNumber()
/// takes for 0. Both throw boost::bad_lexical_cast if the elements cannot be counted.
std::vector<UnixSocketCheck> readUnixSocketChecks(xmlXPathContext* context);
std::vector<PortCheck> readPortChecks(xmlXPathContext* context);

} // namespace keldo
