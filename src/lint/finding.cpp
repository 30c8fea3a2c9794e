// SPDX-License-Identifier: MIT

#include "lint/finding.h"

#include <array>
#include <cstdio>

namespace keldo::lint {

namespace {

bool isControlCharacter(char c) {
    return (c >= 0 && c < 0x20) || c == 0x7F;
}

std::string escapedCharacter(char c) {
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        std::array<char, 8> buffer;
        std::snprintf(buffer.data(), buffer.size(), "\\x%02x", static_cast<unsigned>(c));
        return buffer.data();
    }
}

std::string onOneLine(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result += isControlCharacter(c) ? escapedCharacter(c) : std::string(1, c);
    }
    return result;
}

} // namespace

std::string findingLine(const std::string& file, const Finding& finding) {
    const char* const level = finding.level == Level::error ? "error" : "warning";
    return file + ":" + std::to_string(finding.line) + ": " + level + ": " +
           onOneLine(finding.text);
}

} // namespace keldo::lint
