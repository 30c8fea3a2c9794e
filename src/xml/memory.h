// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// Makes a failed libxml2 allocation abort the process, as an uncaught std::bad_alloc does.
/// Otherwise libxml2 would continue with damaged data: an element without a name, half an action of
/// a service, an XPath expression that finds nothing. It would also free some memory twice.
/// Uses xmlMemSetup(); may be called at any time.
void abortOnXmlOutOfMemory();

} // namespace keldo
