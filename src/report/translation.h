// SPDX-License-Identifier: MIT

#pragma once

#include "report/message.h"

#include <optional>
#include <string>

namespace keldo {

/// A placeholder in a text, such as "<service_title>", and what takes its place.
struct Substitution {
    std::string placeholder; ///< never empty
    std::string value;
};

/// The translation of an English text by gettext(3) in the catalogue that setLanguage has bound,
/// tagged with the language that it is really in: the report's, where a translation was found or
/// the report is in any English, else "en-US". The LANGUAGE variable of the environment has no say.
Message translate(const std::string& text);

/// Fills placeholders from left to right in one pass; values are not searched again. Where both
/// placeholders are found at the same place (the same one twice, or one a prefix of the other),
/// the rest of the text is left as it is. Keeps the message's language.
Message substitute(const Message& message, const std::optional<Substitution>& first = {},
                   const std::optional<Substitution>& second = {});

/// Translates `text`, then substitutes in the translation.
Message translateWith(const std::string& text, const std::optional<Substitution>& first = {},
                      const std::optional<Substitution>& second = {});

} // namespace keldo
