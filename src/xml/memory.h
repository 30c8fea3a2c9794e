// SPDX-License-Identifier: MIT

#pragma once

namespace keldo {

/// From now on the process ends by abort() where libxml2 gets no memory, as it does by an uncaught
/// std::bad_alloc elsewhere. Left alone, libxml2 goes on: with an element that has no name, half an
/// action of a service, an XPath expression that finds nothing; and it frees some things twice.
/// By xmlMemSetup; may be called at any time.
void abortOnXmlOutOfMemory();

} // namespace keldo
