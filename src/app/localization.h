// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace keldo {

/// Makes `code`, such as "de-DE", the language of the run: selects the locale of that name
/// ("de_DE", without a codeset), binds the message catalogue of the domain "keldoctl" below
/// PRODUCT_ROOT_D + "/share/locale", and sets currentLanguage. Translations are in the locale's
/// codeset. Returns false and changes nothing if the system lacks the locale.
bool setLanguage(const std::string& code);

/// Does what setLanguage() does, with English if the system lacks the locale.
void setLanguageOrEnglish(const std::string& code);

} // namespace keldo
