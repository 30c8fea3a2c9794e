// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo::adapter {

/// `text` as the content of an element: escaped, and with U+FFFD for each byte that cannot be in
/// an XML document. (xml/characters.h has one for each sequence of them, and leaves markup alone.)
std::string xmlText(std::string_view text);

} // namespace keldo::adapter
