// SPDX-License-Identifier: MIT

#include "report/translation.h"

#include "support/catalogue.h"
#include "support/print_message.h"
#include "support/random_texts.h"
#include "support/temporary_directory.h"

#include <clocale>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libintl.h>
#include <unistd.h>
#include <utility>
#include <vector>

extern "C" {
char* __real_gettext(const char* text);
char* __wrap_gettext(const char* text);
}

/// The environment that the last text was looked up in.
std::vector<std::string> environmentOfLookUp;

char* __wrap_gettext(const char* text) {
    environmentOfLookUp.clear();
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        environmentOfLookUp.emplace_back(*entry);
    }
    return __real_gettext(text);
}

namespace keldo {
namespace {

constexpr const char* upgrade = "Upgrade is in progress. Please wait.";
constexpr const char* upgradeGerman = "Eine Aktualisierung läuft. Bitte warten Sie.";
constexpr const char* restart = "Restart the <service_title> service.";

/// A run in some language: its locale, the catalogues that it finds, and currentLanguage.
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
        currentLanguage = englishLanguage;
        std::setlocale(LC_ALL, "C");
    }

    static void speakGerman(const std::string& codeset = "utf8") {
        test::selectLocale(codeset, "de_DE");
        currentLanguage = "de-DE";
    }

    test::TemporaryDirectory catalogues;
};

std::vector<std::string> environment() {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        entries.emplace_back(*entry);
    }
    return entries;
}

TEST_F(Translate, TagsATranslationWithTheLanguageOfTheRun) {
    speakGerman();
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), translate(upgrade));
}

TEST_F(Translate, TagsATextWithoutTranslationAsEnglish) {
    speakGerman();
    EXPECT_EQ(Message("Nobody translated this.", "en-US"), translate("Nobody translated this."));
}

TEST_F(Translate, TakesATranslationEqualToTheEnglishTextForNone) {
    speakGerman();
    EXPECT_EQ(Message("Name", "en-US"), translate("Name"));
}

TEST_F(Translate, WithoutACatalogueTagsTextsAsEnglish) {
    const test::TemporaryDirectory empty;
    bindtextdomain("keldoctl", empty.path().c_str());
    speakGerman();
    EXPECT_EQ(Message(upgrade, "en-US"), translate(upgrade));
}

TEST_F(Translate, TagsTextsOfAnEnglishRunAsAmericanEnglish) {
    test::selectLocale("utf8", "en_US");
    EXPECT_EQ(Message(upgrade, "en-US"), translate(upgrade));
}

TEST_F(Translate, TagsUntranslatedTextsOfABritishRunAsBritish) {
    test::selectLocale("utf8", "en_GB");
    currentLanguage = "en-GB";
    EXPECT_EQ(Message(upgrade, "en-GB"), translate(upgrade));
}

TEST_F(Translate, GivesTranslationsInTheCodesetOfTheLocale) {
    speakGerman("latin1");
    EXPECT_EQ(Message("Eine Aktualisierung l\xe4uft. Bitte warten Sie.", "de-DE"),
              translate(upgrade));
}

TEST_F(Translate, IgnoresLanguageOfTheEnvironment) {
    setenv("LANGUAGE", "fr:de", 1);
    speakGerman();
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), translate(upgrade));
    test::selectLocale("utf8", "en_US");
    currentLanguage = "en-US";
    EXPECT_EQ(Message(upgrade, "en-US"), translate(upgrade));
}

TEST_F(Translate, LeavesTheEnvironmentAsItIs) {
    setenv("LANGUAGE", "fr:de", 1);
    setenv("AFTER_IT", "something", 1);
    speakGerman();
    const auto before = environment();
    translate(upgrade);
    EXPECT_EQ(before, environment());
    EXPECT_STREQ("fr:de", getenv("LANGUAGE"));
}

TEST_F(Translate, LooksForLanguageAmongAllVariables) {
    speakGerman();
    char variables[][16] = {"FIRST=fr", "LANGUAGE=fr", "LANGUAGE=it"};
    char* const entries[] = {variables[0], variables[1], variables[2], nullptr};
    std::vector<char*> changed(std::begin(entries), std::end(entries));
    char** const kept = environ;
    environ = changed.data();
    const Message message = translate(upgrade);
    environ = kept;
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), message);
    EXPECT_THAT(changed, testing::ElementsAreArray(entries));
}

TEST_F(Translate, BlanksLanguageAlone) {
    char variables[][16] = {"LANGUAGE=fr", "LAST=fr"};
    std::vector<char*> changed = {variables[0], variables[1], nullptr};
    char** const kept = environ;
    environ = changed.data();
    translate(upgrade);
    std::swap(changed[0], changed[1]);
    const auto seen = std::exchange(environmentOfLookUp, {});
    translate(upgrade);
    environ = kept;
    EXPECT_THAT(seen, testing::ElementsAre("LANGUAGE=", "LAST=fr"));
    EXPECT_THAT(environmentOfLookUp, testing::ElementsAre("LAST=fr", "LANGUAGE="));
}

TEST_F(Translate, DoesNotAddVariablesThatAreNotThere) {
    speakGerman();
    const auto before = environment();
    translate(upgrade);
    EXPECT_EQ(before, environment());
}

TEST_F(Translate, LeavesVariablesOfSimilarNamesInEffect) {
    setenv("LANGUAGE_OF_MINE", "fr", 1);
    speakGerman();
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), translate(upgrade));
    EXPECT_STREQ("fr", getenv("LANGUAGE_OF_MINE"));
    unsetenv("LANGUAGE_OF_MINE");
}

TEST_F(Translate, WorksWithoutAnyEnvironment) {
    speakGerman();
    char** const kept = environ;
    environ = nullptr;
    const Message message = translate(upgrade);
    environ = kept;
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), message);
}

class TranslateWith : public Translate {};

TEST_F(TranslateWith, SubstitutesInTheTranslation) {
    speakGerman();
    EXPECT_EQ(Message("Den Dienst Webserver neu starten.", "de-DE"),
              translateWith(restart, Substitution{"<service_title>", "Webserver"}));
}

TEST_F(TranslateWith, SubstitutesTwoPairs) {
    EXPECT_EQ(Message("1 of 2", "en-US"),
              translateWith("<a> of <b>", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}));
}

TEST_F(TranslateWith, OnlyTranslatesWithoutPairs) {
    speakGerman();
    EXPECT_EQ(Message(upgradeGerman, "de-DE"), translateWith(upgrade));
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
        {"as the second pair", restart, none, Substitution{"<service_title>", "Web Server"},
         "Restart the Web Server service."},
        {"a value that holds the placeholder", "<t>!", Substitution{"<t>", "a <t> b"}, none,
         "a <t> b!"},
        {"a value that holds the other placeholder", "<a><b>", Substitution{"<a>", "<b>"},
         Substitution{"<b>", "<a>"}, "<b><a>"},
        {"a value that makes a placeholder with what follows", "<a>t>", Substitution{"<a>", "<"},
         Substitution{"<t>", "no"}, "<t>"},
        {"twice the same placeholder in the text", "<t> and <t>", Substitution{"<t>", "x"}, none,
         "x and x"},
        {"right after one another", "<t><t><t>", Substitution{"<t>", "x"}, none, "xxx"},
        {"two in their order", "-<a>-<b>-", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "-1-2-"},
        {"two in the other order", "-<b>-<a>-", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "-2-1-"},
        {"two that alternate", "<a><b><a><b>", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "1212"},
        {"the first alone is there", "x<a>y", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "x1y"},
        {"the second alone is there", "x<b>y", Substitution{"<a>", "1"}, Substitution{"<b>", "2"},
         "x2y"},
        {"the first ends before the second", "<a>y<b>", Substitution{"<a>", "1"},
         Substitution{"<b>", "2"}, "1y2"},
        {"an empty value", "x<a>y", Substitution{"<a>", ""}, none, "xy"},
        {"at the end", "x<a>", Substitution{"<a>", "1"}, none, "x1"},
        {"the whole text", "<a>", Substitution{"<a>", "1"}, none, "1"},
        {"not there", "nothing", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}, "nothing"},
        {"another case", "<A>", Substitution{"<a>", "1"}, none, "<A>"},
        {"no pairs", "x<a>y", none, none, "x<a>y"},
        {"overlapping occurrences", "aaa", Substitution{"aa", "1"}, none, "1a"},
        {"the second begins within the first", "abc-bc", Substitution{"ab", "1"},
         Substitution{"bc", "2"}, "1c-2"},
        {"the first begins within the second", "abc-bc", Substitution{"bc", "1"},
         Substitution{"ab", "2"}, "2c-1"},
        {"the second comes after many of the first", "<a><a><a><b><a>", Substitution{"<a>", "1"},
         Substitution{"<b>", "2"}, "11121"},
        {"an empty text", "", Substitution{"<a>", "1"}, Substitution{"<b>", "2"}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fact);
        EXPECT_EQ(Message(row.expected, "de-DE"),
                  substitute({row.text, "de-DE"}, row.first, row.second));
    }
}

TEST(Substitute, IsTheIdentityWithoutPlaceholders) {
    test::RandomTexts random;
    for (int i = 0; i < 2000; ++i) {
        const Message message(random.bytes(40), "de-DE");
        ASSERT_EQ(message, substitute(message));
        ASSERT_EQ(message, substitute(message, Substitution{"<service_title>", "x"},
                                      Substitution{"<other>", "y"}));
    }
}

TEST(Substitute, LeavesTheRestWhereBothPlaceholdersAreAtOnePlace) {
    const struct {
        const char* fact;
        std::string text;
        Pair first;
        Pair second;
        std::string expected;
    } rows[] = {
        {"the same twice", "x <a> y", Substitution{"<a>", "1"}, Substitution{"<a>", "2"},
         "x <a> y"},
        {"the first a prefix of the second", "x<ab>y", Substitution{"<a", "1"},
         Substitution{"<ab>", "2"}, "x<ab>y"},
        {"the second a prefix of the first", "x<ab>y", Substitution{"<ab>", "1"},
         Substitution{"<a", "2"}, "x<ab>y"},
        {"a prefix that first comes alone", "<ac><ab><ac>", Substitution{"<a", "1"},
         Substitution{"<ab>", "2"}, "1c><ab><ac>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fact);
        EXPECT_EQ(row.expected, substitute({row.text, ""}, row.first, row.second).text);
    }
}

TEST(Substitute, KeepsTheLanguageOfTheMessage) {
    EXPECT_EQ(Message("", "de-DE"), substitute({"", "de-DE"}));
    EXPECT_EQ(Message("x", "de-DE"), substitute({"<a>", "de-DE"}, Substitution{"<a>", "x"}));
}

TEST(Substitute, GivesAMessageWithoutLanguageTheEnglishOne) {
    Message message;
    message.text = "<a>";
    message.lang = "";
    EXPECT_EQ(Message("x", "en-US"), substitute(message, Substitution{"<a>", "x"}));
}

} // namespace
} // namespace keldo
