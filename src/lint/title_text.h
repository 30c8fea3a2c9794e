// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::lint {

/// What is wrong with a text as element content of a report, which the titles become: an ampersand
/// that begins no reference, or one to what XML does not know. Empty where nothing is.
std::string faultInTitle(std::string_view text);

} // namespace keldo::lint
