// SPDX-License-Identifier: MIT

#include "report/translation.h"

#include <cstring>
#include <libintl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace keldo {

namespace {

/// Makes an environment variable read as empty while this object lives. Exchanges the entry in
/// `environ` and puts it back, so that the commands of a run find every variable in its old place.
class BlankedVariable {
public:
    /// `blank` is the variable's name and "="; it must outlive this object.
    explicit BlankedVariable(const char* blank) {
        for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
            if (std::strncmp(*entry, blank, std::strlen(blank)) == 0) {
                entry_ = entry;
                original_ = *entry;
                *entry = const_cast<char*>(blank); // nobody writes to it
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

/// Calls gettext(3) with LANGUAGE blank: this variable would choose catalogues of other languages
/// than the locale's.
std::string lookUp(const std::string& text) {
    const BlankedVariable language("LANGUAGE=");
    return gettext(text.c_str());
}

/// Finds the occurrences of a placeholder in a text. Remembers the last hit, so that a distant or
/// absent placeholder is not searched for repeatedly.
class Occurrences {
public:
    /// Both arguments must outlive this object.
    Occurrences(std::string_view text, const std::optional<Substitution>& substitution)
        : text_(text), substitution_(substitution),
          position_(substitution ? text.find(substitution->placeholder) : std::string_view::npos) {}

    /// Returns the first position at or after `start`, or npos. `start` must not decrease from call
    /// to call.
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

/// A translation is tagged with the report's language. An English text is too, if the report's
/// language is English of any country.
Message taggedMessage(std::string translation, const std::string& english) {
    if (translation != english) {
        return {std::move(translation), currentLanguage};
    }
    return {english, currentLanguage.starts_with("en") ? currentLanguage : englishLanguage};
}

} // namespace

Message translate(const std::string& text) {
    return taggedMessage(lookUp(text), text);
}

Message translateCounted(const std::string& singular, const std::string& plural,
                         unsigned long count) {
    const BlankedVariable language("LANGUAGE=");
    const std::string& english = count == 1 ? singular : plural;
    return taggedMessage(ngettext(singular.c_str(), plural.c_str(), count), english);
}

Message substitute(const Message& message, const std::optional<Substitution>& first,
                   const std::optional<Substitution>& second) {
    std::string result;
    const std::string_view text = message.text;
    Occurrences firstPlaces(text, first);
    Occurrences secondPlaces(text, second);
    size_t done = 0;
    while (done < text.size()) {
        const size_t firstPosition = firstPlaces.next(done);
        const size_t secondPosition = secondPlaces.next(done);
        if (firstPosition == secondPosition) { // neither occurs, or both at one place
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
