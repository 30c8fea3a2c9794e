// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

namespace keldo::test {

/// Splits an input into texts, separated by lines of four hyphens: a seed can be written by hand,
/// and every byte can be in a text.
class Texts {
public:
    explicit Texts(const std::string& input) : rest_(input) {}

    /// The next text; nothing after the last one.
    std::optional<std::string> nextIfAny() {
        const std::string separator = "\n----\n";
        std::optional<std::string> text = rest_;
        if (const auto end = text ? text->find(separator) : std::string::npos;
            end != std::string::npos) {
            rest_ = text->substr(end + separator.size());
            text->resize(end);
        } else {
            rest_.reset();
        }
        return text;
    }

    /// The next text; empty after the last one.
    std::string next() { return nextIfAny().value_or(""); }

private:
    std::optional<std::string> rest_;
};

} // namespace keldo::test
