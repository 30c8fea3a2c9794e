// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <optional>
#include <string>

namespace keldo {

/// A placeholder in a text, such as "<service_title>", and what takes its place.
struct Substitution {
    std::string placeholder; ///< never empty
    std::string value;
};

/// Translates an English text by gettext(3), from the catalogue that setLanguage() has bound. The
/// message has the report's language if a translation was found, or if that language is English of
/// any country; otherwise it has "en-US". Ignores LANGUAGE in the environment.
Message translate(const std::string& text);

/// Translates a text that depends on the number `count`, by ngettext(3): `singular` and `plural`
/// are the English forms; another language may have more forms.
Message translateCounted(const std::string& singular, const std::string& plural,
                         unsigned long count);

/// Fills placeholders from left to right in one pass; values are not searched again. If both
/// placeholders occur at the same place (they are equal, or one is a prefix of the other), the rest
/// of the text stays as it is. Keeps the message's language.
Message substitute(const Message& message, const std::optional<Substitution>& first = {},
                   const std::optional<Substitution>& second = {});

/// Translates `text`, then fills the placeholders of the translation.
Message translateWith(const std::string& text, const std::optional<Substitution>& first = {},
                      const std::optional<Substitution>& second = {});

} // namespace keldo
