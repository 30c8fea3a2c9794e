// SPDX-License-Identifier: MIT

#include "app/localization.h"

#include "conf/config_value.h"
#include "report/problem_model.h"

#include <clocale>
#include <langinfo.h>
#include <libintl.h>

namespace keldo {

namespace {

constexpr const char* textDomain = "keldoctl";

/// de_DE for de-DE.
std::string localeName(std::string code) {
    constexpr std::string::size_type hyphen = 2;
    code.at(hyphen) = '_';
    return code;
}

} // namespace

bool setLanguage(const std::string& code) {
    if (std::setlocale(LC_ALL, localeName(code).c_str()) == nullptr) {
        return false;
    }
    const std::string catalogues = configValue("PRODUCT_ROOT_D") + "/share/locale";
    bindtextdomain(textDomain, catalogues.c_str());
    textdomain(textDomain);
    // The locale's codeset is the default, but without this call OUTPUT_CHARSET in the environment
    // could replace it.
    bind_textdomain_codeset(textDomain, nl_langinfo(CODESET));
    currentLanguage = code;
    return true;
}

void setLanguageOrEnglish(const std::string& code) {
    if (!setLanguage(code)) {
        setLanguage(englishLanguage);
    }
}

} // namespace keldo
