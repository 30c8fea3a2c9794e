// SPDX-License-Identifier: MIT

#include "adapter/control_file.h"

#include "adapter/file.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string_view>

namespace keldo::adapter {

namespace {

struct Word {
    std::string text;
    bool isQuoted;
};

/// The words of a control file, comments left out. A quoted text is one word.
std::vector<Word> wordsOf(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\f\v,;";
    std::vector<Word> words;
    for (size_t at = 0; (at = text.find_first_not_of(blanks, at)) != std::string_view::npos;) {
        const char first = text[at];
        const bool isQuoted = first == '"' || first == '\'';
        const size_t begin = isQuoted ? at + 1 : at;
        const size_t end = std::min(text.size(), first == '#' ? text.find('\n', begin)
                                                 : isQuoted   ? text.find(first, begin)
                                                              : text.find_first_of(blanks, begin));
        if (first != '#') {
            words.push_back({std::string(text.substr(begin, end - begin)), isQuoted});
        }
        at = end + (isQuoted && end < text.size() ? 1 : 0);
    }
    return words;
}

/// Monit takes its keywords in any mixture of upper and lower case.
bool isKeyword(const Word& word, std::string_view keyword) {
    return !word.isQuoted &&
           std::equal(word.text.begin(), word.text.end(), keyword.begin(), keyword.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == b; });
}

} // namespace

ControlFile readControlFile(const std::string& path) {
    ControlFile control;
    control.path = path;
    control.text = readFile(path);
    const std::vector<Word> words = wordsOf(control.text);
    control.isEmpty = words.empty();
    for (size_t i = 0; i < words.size(); ++i) {
        if (isKeyword(words[i], "check") && i + 2 < words.size()) {
            control.serviceNames.push_back(words[i + 2].text); // check TYPE NAME
            i += 2;
        } else if (isKeyword(words[i], "if")) {
            ++control.testCount;
        }
    }
    return control;
}

} // namespace keldo::adapter
