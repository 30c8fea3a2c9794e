// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <ostream>

namespace keldo {

/// Makes the test framework show messages that differ. Include it wherever messages are compared.
inline void PrintTo(const Message& message, std::ostream* out) {
    *out << '"' << message.text << "\" in " << message.lang;
}

} // namespace keldo
