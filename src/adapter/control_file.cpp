// SPDX-License-Identifier: MIT

#include "adapter/control_file.h"

#include "xml/characters.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace keldo::adapter {

namespace {

struct Word {
    std::string_view text;
    bool isQuoted;
};

/// Takes the first word off the front of `rest`, which begins with one. A quoted text is one word.
Word takeWord(std::string_view& rest, std::string_view blanks) {
    const char quote = rest.front();
    const bool isQuoted = quote == '"' || quote == '\'';
    if (isQuoted) {
        rest.remove_prefix(1);
    }
    const size_t end =
        std::min(rest.size(), isQuoted ? rest.find(quote) : rest.find_first_of(blanks));
    const Word word{rest.substr(0, end), isQuoted};
    rest.remove_prefix(std::min(rest.size(), isQuoted ? end + 1 : end));
    return word;
}

/// The words of a control file, without comments.
std::vector<Word> wordsOf(std::string_view rest) {
    constexpr std::string_view blanks = " \t\r\n\f\v,;";
    std::vector<Word> words;
    for (;;) {
        rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(blanks)));
        if (rest.empty()) {
            return words;
        }
        if (rest.front() == '#') {
            rest.remove_prefix(std::min(rest.size(), rest.find('\n')));
        } else {
            words.push_back(takeWord(rest, blanks));
        }
    }
}

/// Monit accepts its keywords in any mixture of upper and lower case.
bool isKeyword(const Word& word, std::string_view keyword) {
    return !word.isQuoted && std::ranges::equal(word.text, keyword, {}, lowerCase);
}

} // namespace

ControlFile parseControlFile(std::string path, std::string text) {
    ControlFile control;
    control.path = std::move(path);
    control.text = std::move(text);
    const std::vector<Word> words = wordsOf(control.text);
    control.isEmpty = words.empty();
    for (size_t i = 0; i < words.size(); ++i) {
        if (isKeyword(words[i], "check") && i + 2 < words.size()) {
            control.serviceNames.emplace_back(words[i + 2].text); // check TYPE NAME
            i += 2;
        } else if (isKeyword(words[i], "if")) {
            ++control.testCount;
        }
    }
    return control;
}

} // namespace keldo::adapter
