// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// The language of every text that has no translation, and of the report unless another is chosen.
inline constexpr const char* englishLanguage = "en-US";

/// The language code of the report, such as "de-DE". "en-US" at start; set only by a successful
/// setLanguage (app/localization.h); lives until exit.
extern std::string currentLanguage;

/// One text in one language. The language code is never empty: an empty one becomes "en-US".
struct Message {
    Message() : Message("", "") {}
    Message(std::string messageText, std::string languageCode);

    bool operator==(const Message&) const = default;

    std::string text; ///< UTF-8
    std::string lang; ///< such as "de-DE"
};

} // namespace keldo
