// SPDX-License-Identifier: MIT

#include "support/quiet_libxml2.h"

#include <libxml/xmlerror.h>

namespace keldo::test {

namespace {

[[gnu::format(printf, 2, 3)]] void ignoreMessage(void* /*context*/, const char* /*format*/, ...) {}

} // namespace

void silenceLibxml2() {
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
}

} // namespace keldo::test
