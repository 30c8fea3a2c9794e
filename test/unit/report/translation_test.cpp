// SPDX-License-Identifier: MIT

#include "report/translation.h"

#include "support/catalogue.h"
#include "support/print_message.h"
#include "support/temporary_directory.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <libintl.h>
#include <unistd.h>
#include <utility>
#include <vector>

extern "C" {
char* __real_gettext(const char* text);
char* __wrap_gettext(const char* text);
}

namespace {

std::vector<std::string> environment() {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        entries.emplace_back(*entry);
    }
    return entries;
}

/// The environment during the last gettext().
std::vector<std::string> environmentOfLookUp;

} // namespace

char* __wrap_gettext(const char* text) {
    environmentOfLookUp = environment();
    return __real_gettext(text);
}

namespace keldo {
namespace {

constexpr const char* upgrade = "Upgrade is in progress. Please wait.";
constexpr const char* upgradeGerman = "Eine Aktualisierung läuft. Bitte warten Sie.";
constexpr const char* restart = "Restart the <service_title> service.";

/// Catalogues in German and French, and a run in English.
class Translate : public testing::Test {
protected:
    Translate() {
        test::writeCatalogue(catalogues.path(), "de",
                             {{upgrade, upgradeGerman},
                              {restart, "Den Dienst <service_title> neu starten."},
                              {"Name", "Name"}});
        test::writeCatalogue(catalogues.path(), "fr", {{upgrade, "Une mise à jour est en cours."}});
        bindtextdomain("keldoctl", catalogues.path().c_str());
        textdomain("keldoctl");
    }
    ~Translate() override {
        unsetenv("LANGUAGE");
        std::setlocale(LC_ALL, "C");
        currentLanguage = englishLanguage;
    }

    static void selectLanguage(const std::string& locale, const std::string& language,
                               const std::string& codeset = "utf8") {
        test::selectLocale(codeset, locale);
        currentLanguage = language;
    }

    /// Translates into German with `entries` as the environment. Then stores the environment in
    /// `entries`.
    static Message translateIn(std::vector<std::string>& entries) {
        selectLanguage("de_DE", "de-DE");
        std::vector<char*> pointers;
        for (std::string& entry : entries) {
            pointers.push_back(entry.data());
        }
        pointers.push_back(nullptr);
        char** const kept = std::exchange(environ, pointers.data());
        Message message = translate(upgrade);
        entries = environment();
        environ = kept;
        return message;
    }

    test::TemporaryDirectory catalogues;
};

TEST_F(Translate, TagsAMessageWithTheLanguageThatItIsIn) {
    const struct {
        const char* fact;
        const char* locale;
        const char* language;
        const char* text;
        Message message;
    } rows[] = {
        {"translated", "de_DE", "de-DE", upgrade, {upgradeGerman, "de-DE"}},
        {"untranslated", "de_DE", "de-DE", "Not translated.", {"Not translated.", "en-US"}},
        {"translation equal to the English text", "de_DE", "de-DE", "Name", {"Name", "en-US"}},
        {"American English", "en_US", "en-US", upgrade, {upgrade, "en-US"}},
        {"British English", "en_GB", "en-GB", upgrade, {upgrade, "en-GB"}},
    };
    for (const char* variable : {"", "fr:de"}) { // LANGUAGE must not matter
        setenv("LANGUAGE", variable, 1);
        for (const auto& row : rows) {
            SCOPED_TRACE(row.fact);
            selectLanguage(row.locale, row.language);
            EXPECT_EQ(row.message, translate(row.text));
        }
    }
}

TEST_F(Translate, TagsTextsAsEnglishWithoutACatalogue) {
    const test::TemporaryDirectory empty;
    bindtextdomain("keldoctl", empty.path().c_str());
    selectLanguage("de_DE", "de-DE");
    EXPECT_EQ(Message(upgrade, "en-US"), translate(upgrade));
}

TEST_F(Translate, ReturnsTextsInTheCodesetOfTheLocale) {
    selectLanguage("de_DE", "de-DE", "latin1");
    EXPECT_EQ(Message("Eine Aktualisierung l\xe4uft. Bitte warten Sie.", "de-DE"),
              translate(upgrade));
}

TEST_F(Translate, BlanksLanguageDuringTheLookUpOnly) {
    using Entries = std::vector<std::string>;
    const std::pair<Entries, Entries> rows[] = {
        {{"LANGUAGE=fr", "LAST=fr"}, {"LANGUAGE=", "LAST=fr"}},
        {{"FIRST=fr", "LANGUAGE=fr"}, {"FIRST=fr", "LANGUAGE="}},
        {{"LANGUAGE=fr", "LANGUAGE=it"}, {"LANGUAGE=", "LANGUAGE=it"}},
        {{"LANGUAGE_OF_MINE=fr", "XLANGUAGE=fr"}, {"LANGUAGE_OF_MINE=fr", "XLANGUAGE=fr"}},
        {{}, {}},
    };
    for (const auto& [entries, seen] : rows) {
        Entries changed = entries;
        EXPECT_EQ(Message(upgradeGerman, "de-DE"), translateIn(changed));
        EXPECT_EQ(seen, environmentOfLookUp);
        EXPECT_EQ(entries, changed);
    }
}

TEST_F(Translate, WorksWithoutAnEnvironment) {
    selectLanguage("de_DE", "de-DE");
    char** const kept = std::exchange(environ, nullptr);
    const Message message = translate(upgrade);
    environ = kept;
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), message);
}

TEST_F(Translate, FillsPlaceholdersOfTheTranslation) {
    selectLanguage("de_DE", "de-DE");
    EXPECT_EQ(Message("Den Dienst Webserver neu starten.", "de-DE"),
              translateWith(restart, Substitution{"<service_title>", "Webserver"}));
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), translateWith(upgrade));
    EXPECT_EQ(Message("1 of 2", "en-US"),
              translateWith("<a> of <b>", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}));
}

using Pair = std::optional<Substitution>;
constexpr auto none = std::nullopt;

TEST(Substitute, FillsPlaceholdersFromLeftToRightInOnePass) {
    const struct {
        const char* fact;
        std::string text;
        Pair first;
        Pair second;
        std::string expected;
    } rows[] = {
        {"one placeholder", restart, Substitution{"<service_title>", "Web Server"}, none,
         "Restart the Web Server service."},
        {"the second pair alone", restart, none, Substitution{"<service_title>", "Web Server"},
         "Restart the Web Server service."},
        {"value contains the placeholder", "<t>!", Substitution{"<t>", "a <t> b"}, none,
         "a <t> b!"},
        {"value contains the other placeholder", "<a><b>", Substitution{"<a>", "<b>"},
         Substitution{"<b>", "<a>"}, "<b><a>"},
        {"value and rest form a placeholder", "<a>t>", Substitution{"<a>", "<"},
         Substitution{"<t>", "no"}, "<t>"},
        {"two occurrences", "<t> and <t>", Substitution{"<t>", "x"}, none, "x and x"},
        {"adjacent occurrences", "<t><t><t>", Substitution{"<t>", "x"}, none, "xxx"},
        {"both, in order", "-<a>-<b>-", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "-1-2-"},
        {"both, in the other order", "-<b>-<a>-", Substitution{"<a>", "1"},
         Substitution{"<b>", "2"}, "-2-1-"},
        {"alternating", "<a><b><a><b>", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}, "1212"},
        {"only the first occurs", "x<a>y", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "x1y"},
        {"only the second occurs", "x<b>y", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "x2y"},
        {"the first ends before the second", "<a>y<b>", Substitution{"<a>", "1"},
         Substitution{"<b>", "2"}, "1y2"},
        {"an empty value", "x<a>y", Substitution{"<a>", ""}, none, "xy"},
        {"at the end", "x<a>", Substitution{"<a>", "1"}, none, "x1"},
        {"the whole text", "<a>", Substitution{"<a>", "1"}, none, "1"},
        {"none occurs", "nothing", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}, "nothing"},
        {"another case", "<A>", Substitution{"<a>", "1"}, none, "<A>"},
        {"no pairs", "x<a>y", none, none, "x<a>y"},
        {"overlapping occurrences", "aaa", Substitution{"aa", "1"}, none, "1a"},
        {"the second begins within the first", "abc-bc", Substitution{"ab", "1"},
         Substitution{"bc", "2"}, "1c-2"},
        {"the first begins within the second", "abc-bc", Substitution{"bc", "1"},
         Substitution{"ab", "2"}, "2c-1"},
        {"the second comes after many of the first", "<a><a><a><b><a>", Substitution{"<a>", "1"},
         Substitution{"<b>", "2"}, "11121"},
        {"both pairs the same", "x <a> y", Substitution{"<a>", "1"}, Substitution{"<a>", "2"},
         "x <a> y"},
        {"first is a prefix of the second", "x<ab>y", Substitution{"<a", "1"},
         Substitution{"<ab>", "2"}, "x<ab>y"},
        {"second is a prefix of the first", "x<ab>y", Substitution{"<ab>", "1"},
         Substitution{"<a", "2"}, "x<ab>y"},
        {"a prefix, first at another place", "<ac><ab><ac>", Substitution{"<a", "1"},
         Substitution{"<ab>", "2"}, "1c><ab><ac>"},
        {"an empty text", "", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fact);
        EXPECT_EQ(Message(row.expected, "de-DE"),
                  substitute({row.text, "de-DE"}, row.first, row.second));
    }
}

TEST(Substitute, TagsAMessageWithoutALanguageAsEnglish) {
    Message message;
    message.text = "<a>";
    message.lang = "";
    EXPECT_EQ(Message("x", "en-US"), substitute(message, Substitution{"<a>", "x"}));
}

} // namespace
} // namespace keldo
