// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo {

/// Returns monit's output without the lines of monit 6 that give no reason for a refusal of a
/// control file: the last line, and advice on deprecated words, which begins with "FILE:LINE: "
/// like a complaint. The text has no line feed at its end.
std::string withoutRemarks(std::string_view output);

} // namespace keldo
