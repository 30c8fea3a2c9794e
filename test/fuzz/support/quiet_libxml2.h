// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/xmlerror.h>

namespace keldo::test {

[[gnu::format(printf, 2, 3)]] inline void ignoreMessage(void* /*context*/, const char* /*format*/,
                                                        ...) {}

/// Makes libxml2 print no messages: nearly every input is faulty.
inline void silenceLibxml2() {
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
}

} // namespace keldo::test
