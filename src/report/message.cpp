// SPDX-License-Identifier: MIT

#include "report/message.h"

#include <utility>

namespace keldo {

std::string currentLanguage = englishLanguage;

Message::Message(std::string messageText, std::string languageCode)
    : text(std::move(messageText)), lang(std::move(languageCode)) {
    if (lang.empty()) {
        lang = englishLanguage;
    }
}

} // namespace keldo
