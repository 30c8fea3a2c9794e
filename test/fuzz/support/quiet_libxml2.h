// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/xmlerror.h>

namespace keldo::test {

/// Makes libxml2 print no messages: nearly every input is faulty.
inline void silenceLibxml2() {
    xmlSetGenericErrorFunc(nullptr, [](void* /*context*/, const char* /*format*/, ...) {});
}

} // namespace keldo::test
