// SPDX-License-Identifier: MIT

#include "lint/title_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace keldo::lint {

namespace {

constexpr std::array<std::string_view, 5> predefinedEntities = {"lt", "gt", "amp", "quot", "apos"};

bool isXmlCharacter(std::uint32_t number) {
    return number == '\t' || number == '\n' || number == '\r' ||
           (number >= 0x20 && number <= 0xD7FF) || (number >= 0xE000 && number <= 0xFFFD) ||
           (number >= 0x10000 && number <= 0x10FFFF);
}

/// The number of a character reference, what stands between "&#" and ";".
bool isCharacterNumber(std::string_view text) {
    const bool isHexadecimal = text.starts_with("x");
    text.remove_prefix(isHexadecimal ? 1 : 0);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHexadecimal ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size() && isXmlCharacter(number);
}

/// What stands between "&" and ";".
bool isKnownReference(std::string_view name) {
    return name.starts_with("#")
               ? isCharacterNumber(name.substr(1))
               : std::ranges::find(predefinedEntities, name) != predefinedEntities.end();
}

} // namespace

std::string faultInTitle(std::string_view text) {
    for (std::size_t at = 0; (at = text.find('&', at)) != std::string_view::npos; ++at) {
        const std::size_t end = text.find(';', at);
        if (end == std::string_view::npos) {
            return "the report loses a title with an ampersand, which is written &amp;amp; here";
        }
        if (!isKnownReference(text.substr(at + 1, end - at - 1))) {
            return "no XML parser reads a report with this ampersand, which is written &amp;amp; "
                   "here";
        }
    }
    return "";
}

} // namespace keldo::lint
