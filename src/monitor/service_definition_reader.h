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

/// Return the unix sockets (ports) in the order of their positions in a `checks` element. A valid
/// definition has only one `checks` element. If several have a socket (port) at the same position,
/// only one of these is returned: the first, with the first value that any of them has for each
/// attribute. Sockets without a path and ports whose portNumber() is 0 are left out. Both throw
/// boost::bad_lexical_cast if the elements cannot be counted.
std::vector<UnixSocketCheck> readUnixSocketChecks(xmlXPathContext* context);
std::vector<PortCheck> readPortChecks(xmlXPathContext* context);

} // namespace keldo
