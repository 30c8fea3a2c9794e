// SPDX-License-Identifier: MIT

#include "adapter/control_file.h"

#include "support/fuzz_target.h"
#include "support/laws.h"

#include <string>
#include <vector>

namespace keldo::test {

namespace {

/// Words, each with its opening quotation mark if it has one.
using Words = std::vector<std::string>;

/// The model: reads one character after another.
Words wordsOf(const std::string& text) {
    enum class State { between, comment, plain, quoted };
    State state = State::between;
    Words words;
    for (const char character : text) {
        const bool isBlank =
            character != '\0' && std::string(" \t\r\n\f\v,;").find(character) != std::string::npos;
        switch (state) {
        case State::between:
            if (character == '#') {
                state = State::comment;
            } else if (!isBlank) {
                words.emplace_back(1, character);
                state = character == '"' || character == '\'' ? State::quoted : State::plain;
            }
            break;
        case State::comment:
            state = character == '\n' ? State::between : state;
            break;
        case State::plain:
            if (isBlank) {
                state = State::between;
            } else {
                words.back() += character;
            }
            break;
        case State::quoted:
            if (character == words.back().front()) {
                state = State::between;
            } else {
                words.back() += character;
            }
            break;
        }
    }
    return words;
}

bool isKeyword(std::string word, const std::string& keyword) {
    for (char& letter : word) {
        const size_t at = std::string("CEFHIK").find(letter);
        letter = at == std::string::npos ? letter : "cefhik"[at];
    }
    return word == keyword;
}

std::string withoutQuote(const std::string& word) {
    return word.front() == '"' || word.front() == '\'' ? word.substr(1) : word;
}

} // namespace

/// The input is a control file.
void tryInput(const std::string& input) {
    const adapter::ControlFile control = adapter::parseControlFile("path", input);
    const Words words = wordsOf(input);
    std::vector<std::string> names;
    int tests = 0;
    for (size_t i = 0; i < words.size(); ++i) {
        if (isKeyword(words[i], "check") && i + 2 < words.size()) {
            names.push_back(withoutQuote(words[i + 2]));
            i += 2;
        } else {
            tests += isKeyword(words[i], "if") ? 1 : 0;
        }
    }
    require(control.isEmpty == words.empty(), "a file without words is empty");
    require(control.serviceNames == names, "the third word of a check is its name");
    require(control.testCount == tests, "each \"if\" is a test");
    requireEqual(input, control.text, "text");
}

} // namespace keldo::test
