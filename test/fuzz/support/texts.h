// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace keldo::test {

/// The texts that an input consists of, separated by lines of four hyphens: so a seed can be
/// written by hand, and every byte can stand in a text.
class Texts {
public:
    explicit Texts(const std::string& input);

    /// The next text; nothing once all are used up.
    std::optional<std::string> nextIfAny();

    /// The next text; empty once all are used up.
    std::string next() { return nextIfAny().value_or(""); }

private:
    std::vector<std::string> texts_;
    std::size_t next_ = 0;
};

} // namespace keldo::test
