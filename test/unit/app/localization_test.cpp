// SPDX-License-Identifier: MIT

#include "app/localization.h"

#include "app/german_texts.h"
#include "report/translation.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "support/print_message.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <langinfo.h>
#include <libintl.h>

namespace keldo {
namespace {

constexpr const char* english = "Upgrade is in progress. Please wait.";
constexpr const char* german = "Eine Aktualisierung läuft.";

/// A panel with a German and a French catalogue below its "share/locale".
class SetLanguage : public testing::Test {
protected:
    SetLanguage() {
        useLocalesOf("utf8");
        test::writeCatalogue(panel.root() / "share/locale", "de", test::germanTexts);
        test::writeCatalogue(panel.root() / "share/locale", "fr", {{english, "Mise à jour."}});
    }
    ~SetLanguage() override {
        unsetenv("LANGUAGE");
        unsetenv("LC_ALL");
        unsetenv("OUTPUT_CHARSET");
    }

    static void useLocalesOf(const std::string& codeset) {
        setenv("LOCPATH", (std::string(KELDO_TEST_LOCALES "/") + codeset).c_str(), 1);
    }

    test::FakePanel panel;
};

TEST_F(SetLanguage, SelectsTheLocaleAndTheCatalogueBelowTheProductRoot) {
    EXPECT_TRUE(setLanguage("de-DE"));
    EXPECT_STREQ("de_DE", std::setlocale(LC_ALL, nullptr));
    EXPECT_EQ("de-DE", currentLanguage);
    EXPECT_STREQ("keldoctl", textdomain(nullptr));
    EXPECT_EQ(panel.root().string() + "/share/locale", bindtextdomain("keldoctl", nullptr));
    EXPECT_EQ(Message(german, "de-DE"), translate(english));
}

TEST_F(SetLanguage, ChangesNothingIfTheLocaleIsMissing) {
    ASSERT_TRUE(setLanguage("de-DE"));
    textdomain("other");
    bindtextdomain("keldoctl", "/elsewhere");
    EXPECT_FALSE(setLanguage("xx-XX"));
    EXPECT_STREQ("de_DE", std::setlocale(LC_ALL, nullptr));
    EXPECT_EQ("de-DE", currentLanguage);
    EXPECT_STREQ("other", textdomain(nullptr));
    EXPECT_STREQ("/elsewhere", bindtextdomain("keldoctl", nullptr));
}

TEST_F(SetLanguage, KeepsEnglishIfNoLocaleIsInstalled) {
    setenv("LOCPATH", panel.root().c_str(), 1);
    EXPECT_FALSE(setLanguage("xx-XX"));
    EXPECT_FALSE(setLanguage("en-US"));
    EXPECT_EQ("en-US", currentLanguage);
    EXPECT_EQ(Message(english, "en-US"), translate(english));
}

TEST_F(SetLanguage, SucceedsWithoutACatalogueAndTagsTextsByTheirLanguage) {
    EXPECT_TRUE(setLanguage("en-GB"));
    EXPECT_EQ("en-GB", currentLanguage);
    EXPECT_EQ(Message(english, "en-GB"), translate(english));
    EXPECT_TRUE(setLanguage("de-DE"));
    EXPECT_EQ(Message("Not translated.", "en-US"), translate("Not translated."));
    EXPECT_TRUE(setLanguage("en-US"));
    EXPECT_EQ(Message(english, "en-US"), translate(english));
}

TEST_F(SetLanguage, GivesTextsInTheCodesetOfTheLocaleDespiteOutputCharset) {
    useLocalesOf("latin1");
    for (const char* charset : {"", "UTF-8"}) {
        SCOPED_TRACE(charset);
        setenv("OUTPUT_CHARSET", charset, 1);
        ASSERT_TRUE(setLanguage("de-DE"));
        EXPECT_STREQ("ISO-8859-1", nl_langinfo(CODESET));
        EXPECT_EQ(Message("Eine Aktualisierung l\xe4uft.", "de-DE"), translate(english));
    }
}

TEST_F(SetLanguage, IgnoresLanguageAndLcAllOfTheEnvironment) {
    setenv("LANGUAGE", "fr", 1);
    setenv("LC_ALL", "de_DE", 1);
    ASSERT_TRUE(setLanguage("de-DE"));
    EXPECT_EQ(Message(german, "de-DE"), translate(english));
    ASSERT_TRUE(setLanguage("en-US"));
    EXPECT_EQ(Message(english, "en-US"), translate(english));
    EXPECT_STREQ("en_US", std::setlocale(LC_ALL, nullptr));
    EXPECT_STREQ("fr", getenv("LANGUAGE"));
}

} // namespace
} // namespace keldo
