// SPDX-License-Identifier: MIT

#pragma once

#include "support/temporary_directory.h"

#include <filesystem>
#include <map>
#include <string>

namespace keldo::test {

/// English texts and their translations, in UTF-8.
using Translations = std::map<std::string, std::string>;

/// Makes the message catalogue of one language, such as "de", in a folder laid out as gettext(3)
/// looks for it: FOLDER/LANGUAGE/LC_MESSAGES/keldoctl.mo.
void writeCatalogue(const std::filesystem::path& folder, const std::string& language,
                    const Translations& translations);

/// Selects a locale of the test's own: `codeset` is "utf8" or "latin1", `name` such as "de_DE".
void selectLocale(const std::string& codeset, const std::string& name);

/// While it lives, the run is in German, in UTF-8, with these translations.
class GermanRun {
public:
    explicit GermanRun(const Translations& translations);
    GermanRun(const GermanRun&) = delete;
    GermanRun& operator=(const GermanRun&) = delete;
    ~GermanRun();

private:
    TemporaryDirectory catalogues_; // gettext remembers what it found below a path
};

} // namespace keldo::test
