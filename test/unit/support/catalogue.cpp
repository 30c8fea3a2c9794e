// SPDX-License-Identifier: MIT

#include "support/catalogue.h"

#include "report/problem_model.h"

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <libintl.h>
#include <stdexcept>

namespace keldo::test {

void writeCatalogue(const std::filesystem::path& folder, const std::string& language,
                    const Translations& translations) {
    const std::filesystem::path messages = folder / language / "LC_MESSAGES";
    const std::filesystem::path source = messages / "keldoctl.po";
    std::filesystem::create_directories(messages);
    std::ofstream file(source);
    file << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (const auto& [english, translation] : translations) {
        file << "\nmsgid \"" << english << "\"\nmsgstr \"" << translation << "\"\n";
    }
    file.close();
    const std::string command = std::string(KELDO_MSGFMT) + " -o '" +
                                (messages / "keldoctl.mo").string() + "' '" + source.string() + "'";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("msgfmt failed on " + source.string());
    }
}

void selectLocale(const std::string& codeset, const std::string& name) {
    const std::string locales = std::string(KELDO_TEST_LOCALES "/") + codeset;
    setenv("LOCPATH", locales.c_str(), 1);
    if (std::setlocale(LC_ALL, name.c_str()) == nullptr) {
        throw std::runtime_error("no locale " + name + " in " + locales);
    }
}

GermanRun::GermanRun(const Translations& translations) {
    writeCatalogue(catalogues_.path(), "de", translations);
    selectLocale("utf8", "de_DE");
    bindtextdomain("keldoctl", catalogues_.path().c_str());
    textdomain("keldoctl");
    currentLanguage = "de-DE";
}

GermanRun::~GermanRun() {
    currentLanguage = englishLanguage;
    std::setlocale(LC_ALL, "C");
}

} // namespace keldo::test
