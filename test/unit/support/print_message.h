// SPDX-License-Identifier: MIT

#pragma once

#include "report/message.h"

#include <ostream>

namespace keldo {

/// How the test framework shows a message where values differ. Include it wherever messages are
/// compared.
inline void PrintTo(const Message& message, std::ostream* out) {
    *out << '"' << message.text << "\" in " << message.lang;
}

} // namespace keldo
