// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Makes a failed libxml2 allocation abort the process, as an uncaught std::bad_alloc does
/// elsewhere. libxml2 would otherwise continue with damaged data: an element without a name, half
/// an action of a service, an XPath expression that finds nothing; it also frees some memory twice.
/// Uses xmlMemSetup(); may be called at any time.
void abortOnXmlOutOfMemory();

} // namespace keldo
