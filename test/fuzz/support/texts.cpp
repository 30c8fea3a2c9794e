// SPDX-License-Identifier: MIT

#include "support/texts.h"

#include <string_view>

namespace keldo::test {

namespace {

constexpr std::string_view separator = "\n----\n";

} // namespace

Texts::Texts(const std::string& input) {
    std::size_t start = 0;
    for (std::size_t end = input.find(separator); end != std::string::npos;
         end = input.find(separator, start)) {
        texts_.push_back(input.substr(start, end - start));
        start = end + separator.size();
    }
    texts_.push_back(input.substr(start));
}

std::optional<std::string> Texts::nextIfAny() {
    if (next_ == texts_.size()) {
        return std::nullopt;
    }
    return texts_[next_++];
}

} // namespace keldo::test
