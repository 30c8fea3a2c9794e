// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace keldo::test {

/// Random texts, for tests of rules that hold for every text. They are the same in each run, so
/// that a failure can be repeated.
class RandomTexts {
public:
    /// From 0 to `limit` - 1.
    std::size_t number(std::size_t limit) { return generator_() % limit; }

    /// Up to `longest` characters, each one of `alphabet`.
    std::string text(std::string_view alphabet, std::size_t longest) {
        std::string result(number(longest + 1), '\0');
        for (char& character : result) {
            character = alphabet[number(alphabet.size())];
        }
        return result;
    }

    /// Up to `longest` bytes of any value.
    std::string bytes(std::size_t longest) {
        std::string result(number(longest + 1), '\0');
        for (char& byte : result) {
            byte = static_cast<char>(number(256));
        }
        return result;
    }

private:
    std::mt19937 generator_; // with its default seed
};

} // namespace keldo::test
