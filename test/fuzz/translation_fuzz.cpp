// SPDX-License-Identifier: MIT

#include "report/translation.h"

#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/texts.h"

#include <string>
#include <string_view>

namespace keldo::test {

namespace {

// The model: reads the text character by character.

bool begins(std::string_view text, const std::optional<Substitution>& substitution) {
    return substitution && text.starts_with(substitution->placeholder);
}

std::string filled(std::string_view rest, const std::optional<Substitution>& first,
                   const std::optional<Substitution>& second) {
    std::string result;
    while (!rest.empty()) {
        const bool isFirst = begins(rest, first);
        const bool isSecond = begins(rest, second);
        if (isFirst && isSecond) {
            return result.append(rest);
        }
        if (isFirst || isSecond) {
            const Substitution& found = isFirst ? *first : *second;
            result += found.value;
            rest.remove_prefix(found.placeholder.size());
        } else {
            result += rest.front();
            rest.remove_prefix(1);
        }
    }
    return result;
}

// The input.

/// Placeholders are never empty, so an empty text stands for no substitution.
std::optional<Substitution> nextSubstitution(Texts& texts) {
    const std::string placeholder = texts.next();
    const std::string value = texts.next();
    if (placeholder.empty()) {
        return std::nullopt;
    }
    return Substitution{placeholder, value};
}

bool contains(const std::string& text, const std::optional<Substitution>& substitution) {
    return substitution && text.find(substitution->placeholder) != std::string::npos;
}

} // namespace

/// The texts are a message's text and language, then two placeholders with a value each.
void tryInput(const std::string& input) {
    Texts texts(input);
    const std::string text = texts.next();
    const std::string language = texts.next();
    const std::optional<Substitution> pairs[] = {nextSubstitution(texts), nextSubstitution(texts)};

    const Message message = substitute({text, language}, pairs[0], pairs[1]);
    requireEqual(filled(text, pairs[0], pairs[1]), message.text, "placeholders are filled");
    requireEqual(language.empty() ? englishLanguage : language, message.lang, "the language stays");
    if (!contains(text, pairs[0]) && !contains(text, pairs[1])) {
        requireEqual(text, message.text, "a text without placeholders stays");
    }
    require(substitute({text, language}, pairs[1], pairs[0]) == message,
            "either pair may be first");
}

} // namespace keldo::test
