// SPDX-License-Identifier: MIT

#include "conf/autoprepend.h"

#include "conf/read_configuration.h"
#include "forced_failures.h"
#include "printed_text.h"
#include "support/redirected_files.h"
#include "support/temporary_directory.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

using keldo::test::Call;
using keldo::test::failCall;
using keldo::test::inFreshProcess;
using keldo::test::onBothStreams;
using keldo::test::opensOf;
using keldo::test::printedBy;
using keldo::test::redirectFile;
using keldo::test::TemporaryDirectory;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::KilledBySignal;
using testing::StartsWith;

namespace {

/// The number of searches in the table of the file's variables.
int tableSearches = 0;

} // namespace

extern "C" {
const char* __real_conf_get_r(const char* name, const conf_rec* pconf);
const char* __wrap_conf_get_r(const char* name, const conf_rec* pconf);

const char* __wrap_conf_get_r(const char* name, const conf_rec* pconf) {
    ++tableSearches;
    return __real_conf_get_r(name, pconf);
}
}

namespace {

const std::string confFile = "/etc/kvr/kvr.conf";

struct Variable {
    const char* name;
    const char* defaultValue;
};

/// The first variable has index 1.
const std::array<Variable, 29> variables = {{
    {"KELDO_MAILNAMES_D", "/var/qmail/mailnames"},
    {"COURIER_IMAP_ROOT_D", "/"},
    {"RBLSMTPD", "/usr/sbin/rblsmtpd"},
    {"CGI_PHP_BIN", "dynamic"},
    {"CLIENT_PHP_BIN", "/usr/local/kvr/bin/php-cli"},
    {"LIB_CRYPTO_PATH", "/lib/libcrypto.so"},
    {"LIB_SSL_PATH", "/lib/libssl.so"},
    {"AWSTATS_DOC_D", "/var/www/html/awstats"},
    {"AWSTATS_TOOLS_D", "/usr/share/awstats"},
    {"AWSTATS_BIN_D", "/var/www/cgi-bin/awstats"},
    {"AWSTATS_ETC_D", "/etc/awstats"},
    {"CATALINA_HOME", "/usr/share/tomcat5"},
    {"MAILMAN_VAR_D", "/var/lib/mailman"},
    {"MAILMAN_ROOT_D", "/usr/lib/mailman"},
    {"PGSQL_DATA_D", "/var/lib/pgsql/data"},
    {"PGSQL_BIN_D", "/usr/bin"},
    {"MYSQL_BIN_D", "/usr/bin"},
    {"MYSQL_VAR_D", "/var/lib/mysql"},
    {"LOGROTATE", "/usr/local/kvr/logrotate/sbin/logrotate"},
    {"WEB_STAT", "/usr/bin/webalizer"},
    {"DUMP_D", "/var/lib/kvr/dumps"},
    {"NAMED_RUN_ROOT_D", "/var/named/run-root"},
    {"FTPD_CONF_INC", "/etc/proftpd.include"},
    {"HTTPD_SERVICE", "httpd"},
    {"HTTPD_LOG_D", "/var/log/httpd"},
    {"HTTPD_INCLUDE_D", "/etc/httpd/conf.d"},
    {"HTTPD_CONF_D", "/etc/httpd/conf"},
    {"HTTPD_VHOSTS_D", "/var/www/vhosts"},
    {"PRODUCT_ROOT_D", "/usr/local/kvr"},
}};

const int productRoot = 29;

std::string notFoundMessage(const std::string& name) {
    return "variable '" + name +
           "' isn't found neither in /etc/kvr/kvr.conf nor in compile-time defaults\n";
}

/// Expects kvrConfGetDefault() to report `name` as not found and to return null.
void expectNotFound(const char* name) {
    SCOPED_TRACE(name);
    const char* value = "";
    EXPECT_EQ(printedBy([&] {
                  errno = 0;
                  value = kvrConfGetDefault(name);
              }),
              onBothStreams(notFoundMessage(name)));
    EXPECT_EQ(value, nullptr);
}

/// Each test writes the panel configuration file and looks variables up in a fresh process, since a
/// loaded configuration is kept until exit.
class Autoprepend : public testing::Test {
protected:
    Autoprepend() {
        removeFile();
        tableSearches = 0;
    }

    static void removeFile() { redirectFile(confFile, ""); }

    void writeFile(const std::string& content) const {
        redirectFile(confFile, directory_.write("kvr.conf", content));
    }

private:
    TemporaryDirectory directory_;
};

using KvrConfLoad = Autoprepend;
using KvrConfGet = Autoprepend;
using KvrConfGetDefault = Autoprepend;

testing::Matcher<const std::string&> assertionMessage(const std::string& function,
                                                      const std::string& text) {
    return AllOf(StartsWith("conf_test: autoprepend.cpp:"), HasSubstr(function),
                 EndsWith(": Assertion `" + text + "' failed.\n"));
}

const char* const arrayIndexText =
    "i > 0 && i <= (sizeof(theKvrConfArray) / sizeof(theKvrConfArray[0]) - 2)";
const char* const defaultsIndexText =
    "i > 0 && i <= (sizeof(theKvrConfDefauls) / sizeof(theKvrConfDefauls[0]) - 2)";

} // namespace

// The table of variables.

TEST_F(Autoprepend, HasADefaultForEachVariableByIndexAndByName) {
    inFreshProcess([] {
        for (size_t i = 0; i < variables.size(); ++i) {
            const auto& [name, defaultValue] = variables.at(i);
            SCOPED_TRACE(name);
            EXPECT_STREQ(kvrConfGetDefaultByIndex(static_cast<int>(i) + 1), defaultValue);
            EXPECT_STREQ(kvrConfGetDefault(name), defaultValue);
        }
    });
}

TEST_F(Autoprepend, FindsEachVariableOfTheFileByIndexAndByName) {
    std::string content;
    for (const Variable& variable : variables) {
        content += std::string(variable.name) + " value of " + variable.name + "\n";
    }
    writeFile(content);
    inFreshProcess([] {
        for (size_t i = 0; i < variables.size(); ++i) {
            const int index = static_cast<int>(i) + 1;
            const char* const name = variables.at(i).name;
            const std::string value = std::string("value of ") + name;
            SCOPED_TRACE(name);
            EXPECT_EQ(kvrConfGetByIndex(index), value);
            EXPECT_EQ(kvrConfGetDefaultByIndex(index), value);
            EXPECT_EQ(kvrConfGetDefault(name), value);
            EXPECT_EQ(kvrConfGet(name), value);
        }
    });
}

// Loading.

TEST_F(KvrConfLoad, ReadsTheFileOnceOnTheFirstLookupAndKeepsIt) {
    EXPECT_EQ(kvrConfFile, confFile);
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
        EXPECT_EQ(opensOf(confFile), 0);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_EQ(opensOf(confFile), 1);
        removeFile();
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
    });
}

TEST_F(KvrConfLoad, AcceptsAnEmptyFile) {
    writeFile("");
    inFreshProcess([] {
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        EXPECT_EQ(opensOf(confFile), 1);
    });
}

TEST_F(KvrConfLoad, TriesAgainAtEachLookupWithoutAFile) {
    inFreshProcess([] {
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        EXPECT_EQ(opensOf(confFile), 1);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        EXPECT_EQ(opensOf(confFile), 2);
        EXPECT_STREQ(kvrConfGetDefaultByIndex(productRoot), "/usr/local/kvr");
        EXPECT_EQ(opensOf(confFile), 3);
        EXPECT_EQ(kvrConfGetByIndex(productRoot), nullptr);
        EXPECT_EQ(opensOf(confFile), 4);
        EXPECT_EQ(kvrConfGet("PRODUCT_ROOT_D"), nullptr);
        EXPECT_EQ(opensOf(confFile), 5);
        EXPECT_EQ(kvrConfLoad(), -1);
        EXPECT_EQ(opensOf(confFile), 6);
    });
}

TEST_F(KvrConfLoad, ReadsAFileThatAppearsAfterAFailure) {
    inFreshProcess([&] {
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        writeFile("PRODUCT_ROOT_D /opt/kvr\n");
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
        EXPECT_EQ(opensOf(confFile), 2);
    });
}

TEST_F(KvrConfLoad, FailsSilentlyIfTheFileIsMissingOrUnreadable) {
    for (const char* file : {"", "/"}) {
        SCOPED_TRACE(file);
        redirectFile(confFile, file);
        inFreshProcess([] {
            int result = 0;
            EXPECT_THAT(printedBy([&] { result = kvrConfLoad(); }), IsEmpty());
            EXPECT_EQ(result, -1);
            EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
            EXPECT_EQ(opensOf(confFile), 2);
        });
    }
}

TEST_F(KvrConfLoad, ReportsMissingMemoryForTheRecordUsesDefaultsAndTriesAgain) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
        int result = 0;
        EXPECT_EQ(printedBy([&] {
                      failCall(Call::calloc);
                      result = kvrConfLoad();
                  }),
                  onBothStreams("Not enough memory to allocate Keldo runtime configuration "
                                "structure\n\nSystem error 12: Cannot allocate memory\n"));
        EXPECT_EQ(result, -1);
        EXPECT_EQ(opensOf(confFile), 0);
        printedBy([] {
            failCall(Call::calloc);
            EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
            failCall(Call::calloc);
            EXPECT_EQ(kvrConfGetByIndex(productRoot), nullptr);
            failCall(Call::calloc);
            EXPECT_EQ(kvrConfGet("PRODUCT_ROOT_D"), nullptr);
        });
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
    });
}

TEST_F(KvrConfLoad, FailsSilentlyWithoutMemoryWhileReadingAndTriesAgain) {
    writeFile("DUMP_D /dumps\nPRODUCT_ROOT_D /opt/kvr\n");
    const std::vector<std::pair<Call, int>> failures = {
        {Call::calloc, 2}, {Call::strdup, 1}, {Call::strdup, 4}};
    for (const auto& [call, number] : failures) {
        SCOPED_TRACE(number);
        inFreshProcess([failing = call, at = number] {
            EXPECT_THAT(printedBy([&] {
                            failCall(failing, at);
                            EXPECT_STREQ(kvrConfGetDefault("DUMP_D"), "/var/lib/kvr/dumps");
                        }),
                        IsEmpty());
            EXPECT_STREQ(kvrConfGetDefault("DUMP_D"), "/dumps");
        });
    }
}

// Look-ups.

TEST_F(Autoprepend, ReturnsTheSamePointerOnEveryLaterCall) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\nDUMP_D /dumps\n");
    inFreshProcess([] {
        const char* const value = kvrConfGetDefault("PRODUCT_ROOT_D");
        kvrConfGetDefault("DUMP_D");
        EXPECT_STREQ(value, "/opt/kvr");
        EXPECT_EQ(kvrConfGetDefault("PRODUCT_ROOT_D"), value);
        EXPECT_EQ(kvrConfGetDefaultByIndex(productRoot), value);
        EXPECT_EQ(kvrConfGetByIndex(productRoot), value);
        EXPECT_EQ(kvrConfGet("PRODUCT_ROOT_D"), value);
    });
}

TEST_F(Autoprepend, CachesOnlyVariablesThatTheFileHas) {
    for (const bool inFile : {true, false}) {
        SCOPED_TRACE(inFile);
        writeFile(inFile ? "PRODUCT_ROOT_D /opt/kvr\n" : "DUMP_D /dumps\n");
        inFreshProcess([inFile] {
            const char* const value = inFile ? "/opt/kvr" : nullptr;
            const char* const orDefault = inFile ? "/opt/kvr" : "/usr/local/kvr";
            EXPECT_STREQ(kvrConfGetByIndex(productRoot), value);
            EXPECT_STREQ(kvrConfGetDefaultByIndex(productRoot), orDefault);
            EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), orDefault);
            EXPECT_STREQ(kvrConfGetByIndex(productRoot), value);
            EXPECT_EQ(tableSearches, inFile ? 1 : 4);
            EXPECT_EQ(opensOf(confFile), 1);
        });
    }
}

TEST_F(KvrConfGet, FindsAnyNameOfTheFileWithoutDefaultsOrCaching) {
    writeFile("PRODUCT_ETC_D /etc/panel\nDUMP_D /dumps\n");
    inFreshProcess([] {
        EXPECT_STREQ(kvrConfGet("PRODUCT_ETC_D"), "/etc/panel");
        EXPECT_STREQ(kvrConfGet("DUMP_D"), "/dumps");
        EXPECT_STREQ(kvrConfGet("DUMP_D"), "/dumps");
        EXPECT_EQ(kvrConfGet("PRODUCT_ROOT_D"), nullptr);
        EXPECT_THAT(printedBy([] { EXPECT_EQ(kvrConfGet("dump_d"), nullptr); }), IsEmpty());
        EXPECT_EQ(tableSearches, 5);
    });
}

TEST_F(KvrConfGetDefault, ReportsAnUnknownNameEachTimeWhateverTheFileSays) {
    writeFile("PRODUCT_ETC_D /etc/panel\nMY_OWN x\n_MAX_POSSIBLE_KVR_CONF_VAR_NAME y\n");
    inFreshProcess([] {
        for (const char* name :
             {"PRODUCT_ETC_D", "PRODUCT_ETC_D", "MY_OWN", "product_root_d", "PRODUCT_ROOT",
              "PRODUCT_ROOT_D ", "", "_MAX_POSSIBLE_KVR_CONF_VAR_NAME"}) {
            expectNotFound(name);
        }
        EXPECT_EQ(opensOf(confFile), 0);
        EXPECT_STREQ(kvrConfGet("PRODUCT_ETC_D"), "/etc/panel");
    });
}

TEST_F(KvrConfGetDefault, AddsTheSystemErrorToTheMessageAboutAnUnknownName) {
    inFreshProcess([] {
        EXPECT_EQ(printedBy([] {
                      errno = 2;
                      kvrConfGetDefault("PRODUCT_ETC_D");
                  }),
                  onBothStreams(notFoundMessage("PRODUCT_ETC_D") +
                                "\nSystem error 2: No such file or directory\n"));
    });
}

// Assertions.

TEST_F(Autoprepend, AbortsOnAnIndexOutsideTheTable) {
    for (const int index : {0, 30, 31, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_EXIT(kvrConfGetByIndex(index), KilledBySignal(SIGABRT),
                    assertionMessage("kvrConfGetByIndex(int)", arrayIndexText));
        EXPECT_EXIT(kvrConfGetDefaultByIndex(index), KilledBySignal(SIGABRT),
                    assertionMessage("kvrConfGetDefaultByIndex(int)", defaultsIndexText));
    }
}

TEST_F(KvrConfGetDefault, AbortsOnTheLowerSentinel) {
    writeFile("_MIN_POSSIBLE_KVR_CONF_VAR_NAME x\n");
    EXPECT_EXIT(kvrConfGetDefault("_MIN_POSSIBLE_KVR_CONF_VAR_NAME"), KilledBySignal(SIGABRT),
                assertionMessage("kvrConfGetDefaultByIndex(int)", defaultsIndexText));
}

TEST_F(KvrConfGetDefault, AbortsOnANullName) {
    EXPECT_EXIT(kvrConfGetDefault(nullptr), KilledBySignal(SIGABRT),
                assertionMessage("kvrConfGetDefault(const char", "((void *)0) != name"));
}
