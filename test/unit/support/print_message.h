// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <ostream>

namespace keldo {

/// Makes the test framework print messages that differ. Include it in each test that compares them.
inline void PrintTo(const Message& message, std::ostream* out) {
    *out << '"' << message.text << "\" in " << message.lang;
}

} // namespace keldo
