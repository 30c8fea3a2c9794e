// SPDX-License-Identifier: MIT

#include "report/translation.h"

#include <cstring>
#include <libintl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace keldo {

namespace {

/// While it lives, a variable of the environment reads as empty. Only the entry in `environ` is
/// exchanged: the commands that a run starts later find their environment as it was, to the order
/// of its entries.
class BlankedVariable {
public:
    /// `blank` is the variable's name and "=", and outlives this.
    explicit BlankedVariable(const char* blank) {
        for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
            if (std::strncmp(*entry, blank, std::strlen(blank)) == 0) {
                entry_ = entry;
                original_ = *entry;
                *entry = const_cast<char*>(blank); // getenv(3) hands out what nobody may write to
                return;
            }
        }
    }
    BlankedVariable(const BlankedVariable&) = delete;
    BlankedVariable& operator=(const BlankedVariable&) = delete;
    ~BlankedVariable() {
        if (entry_ != nullptr) {
            *entry_ = original_;
        }
    }

private:
    char** entry_ = nullptr;
    char* original_ = nullptr;
};

/// gettext, but from the catalogue of the selected locale whatever the environment says: LANGUAGE
/// would choose others.
std::string lookUp(const std::string& text) {
    const BlankedVariable language("LANGUAGE=");
    return gettext(text.c_str());
}

/// Where a placeholder is in a text. The place last found is kept until it is passed: one that is
/// far away, or nowhere, is not looked for again at each place of another.
class Occurrences {
public:
    /// Both the text and the substitution outlive this.
    Occurrences(std::string_view text, const std::optional<Substitution>& substitution)
        : text_(text), substitution_(substitution),
          position_(substitution ? text.find(substitution->placeholder) : std::string_view::npos) {}

    /// The first one at or after `start`, which never goes back, or npos.
    size_t next(size_t start) {
        if (position_ < start) {
            position_ = text_.find(substitution_->placeholder, start);
        }
        return position_;
    }

private:
    std::string_view text_;
    const std::optional<Substitution>& substitution_;
    size_t position_;
};

} // namespace

Message translate(const std::string& text) {
    std::string translation = lookUp(text);
    if (translation != text) {
        return {std::move(translation), currentLanguage};
    }
    return {text, currentLanguage.starts_with("en") ? currentLanguage : englishLanguage};
}

Message substitute(const Message& message, const std::optional<Substitution>& first,
                   const std::optional<Substitution>& second) {
    std::string result;
    const std::string_view text = message.text;
    Occurrences firstOnes(text, first);
    Occurrences secondOnes(text, second);
    size_t done = 0;
    while (done < text.size()) {
        const size_t firstPosition = firstOnes.next(done);
        const size_t secondPosition = secondOnes.next(done);
        if (firstPosition == secondPosition) { // neither is there, or both at the same place
            result += text.substr(done);
            break;
        }
        const bool firstIsEarlier = firstPosition < secondPosition; // npos is the largest
        const size_t position = firstIsEarlier ? firstPosition : secondPosition;
        const Substitution& found = firstIsEarlier ? *first : *second;
        result += text.substr(done, position - done);
        result += found.value;
        done = position + found.placeholder.size();
    }
    return {std::move(result), message.lang};
}

Message translateWith(const std::string& text, const std::optional<Substitution>& first,
                      const std::optional<Substitution>& second) {
    return substitute(translate(text), first, second);
}

} // namespace keldo
