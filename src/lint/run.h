// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

namespace keldo::lint {

/// Runs keldo-service-lint with these arguments, without argv[0]. Prints the findings and all
/// messages on standard error, the usage and the control files on standard output. Returns the
/// exit status: 0 without findings, 1 with findings, 2 if the command line is wrong, a file cannot
/// be checked or something cannot be written. Throws nothing.
int run(const std::vector<std::string>& arguments) noexcept;

} // namespace keldo::lint
