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

/// How often the table of the file's variables was searched.
int tableSearches = 0;

} // namespace

extern "C" {
const char* __real__Z10conf_get_rPKcPK8conf_rec(const char* name, const conf_rec* pconf);
const char* __wrap__Z10conf_get_rPKcPK8conf_rec(const char* name, const conf_rec* pconf);

const char* __wrap__Z10conf_get_rPKcPK8conf_rec(const char* name, const conf_rec* pconf) {
    ++tableSearches;
    return __real__Z10conf_get_rPKcPK8conf_rec(name, pconf);
}
}

namespace {

const std::string confFile = "/etc/kvr/kvr.conf";

struct Variable {
    const char* name;
    const char* defaultValue;
};

/// The variable of index 1 is the first.
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

/// Expects kvrConfGetDefault() to report `name` as not found, and null.
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

/// Each test gives the panel configuration file its content and does its look-ups in a fresh
/// process, since a loaded configuration stays.
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
using KvrConfGetByIndex = Autoprepend;
using KvrConfGetDefaultByIndex = Autoprepend;
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

TEST_F(KvrConfGetDefaultByIndex, HasEachVariablesDefaultWithoutAFile) {
    inFreshProcess([] {
        for (size_t i = 0; i < variables.size(); ++i) {
            SCOPED_TRACE(variables.at(i).name);
            EXPECT_STREQ(kvrConfGetDefaultByIndex(static_cast<int>(i) + 1),
                         variables.at(i).defaultValue);
        }
    });
}

TEST_F(KvrConfGetDefault, KnowsEachVariableByNameWithoutAFile) {
    inFreshProcess([] {
        for (const Variable& variable : variables) {
            SCOPED_TRACE(variable.name);
            EXPECT_STREQ(kvrConfGetDefault(variable.name), variable.defaultValue);
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

TEST_F(Autoprepend, NamesTheFile) {
    EXPECT_EQ(kvrConfFile, confFile);
}

// Loading.

TEST_F(KvrConfLoad, ReadsTheFileOnce) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
        EXPECT_EQ(opensOf(confFile), 1);
    });
}

TEST_F(KvrConfLoad, DoesNotReadAgainWhatChangesLater) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([&] {
        EXPECT_EQ(kvrConfLoad(), 0);
        removeFile();
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
    });
}

TEST_F(KvrConfLoad, IsNotDoneBeforeTheFirstLookup) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
        EXPECT_EQ(opensOf(confFile), 0);
        kvrConfGetDefault("PRODUCT_ROOT_D");
        EXPECT_EQ(opensOf(confFile), 1);
    });
}

TEST_F(KvrConfLoad, FailsSilentlyWithoutAFile) {
    inFreshProcess([] {
        int result = 0;
        EXPECT_THAT(printedBy([&] { result = kvrConfLoad(); }), IsEmpty());
        EXPECT_EQ(result, -1);
    });
}

TEST_F(KvrConfLoad, OfAnEmptyFileSucceeds) {
    writeFile("");
    inFreshProcess([] {
        EXPECT_EQ(kvrConfLoad(), 0);
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        EXPECT_EQ(opensOf(confFile), 1);
    });
}

TEST_F(KvrConfLoad, OfAMissingFileIsTriedAgainAtEachLookup) {
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

TEST_F(KvrConfLoad, FindsAFileThatAppearedAfterAFailure) {
    inFreshProcess([&] {
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr");
        writeFile("PRODUCT_ROOT_D /opt/kvr\n");
        EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/opt/kvr");
        EXPECT_EQ(opensOf(confFile), 2);
    });
}

TEST_F(KvrConfLoad, FailsOnAFileThatCannotBeReadToItsEnd) {
    redirectFile(confFile, "/");
    inFreshProcess([] {
        EXPECT_THAT(
            printedBy([] { EXPECT_STREQ(kvrConfGetDefault("PRODUCT_ROOT_D"), "/usr/local/kvr"); }),
            IsEmpty());
        EXPECT_EQ(kvrConfLoad(), -1);
        EXPECT_EQ(opensOf(confFile), 2);
    });
}

TEST_F(KvrConfLoad, ReportsThatTheRecordCannotBeAllocated) {
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
    });
}

TEST_F(KvrConfLoad, WithoutMemoryForTheRecordLeavesTheDefaultsAndIsTriedAgain) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
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

TEST_F(KvrConfLoad, WithoutMemoryWhileReadingIsSilentAndTriedAgain) {
    writeFile("DUMP_D /dumps\nPRODUCT_ROOT_D /opt/kvr\n");
    const std::vector<std::pair<Call, int>> failures = {
        {Call::calloc, 2}, {Call::strdup, 1}, {Call::strdup, 4}};
    for (const auto& [call, number] : failures) {
        SCOPED_TRACE(number);
        inFreshProcess([call = call, number = number] {
            EXPECT_THAT(printedBy([&] {
                            failCall(call, number);
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

TEST_F(Autoprepend, CachesAVariableOfTheFileAfterItsFirstLookup) {
    writeFile("PRODUCT_ROOT_D /opt/kvr\n");
    inFreshProcess([] {
        kvrConfGetByIndex(productRoot);
        kvrConfGetByIndex(productRoot);
        kvrConfGetDefaultByIndex(productRoot);
        kvrConfGetDefault("PRODUCT_ROOT_D");
        EXPECT_EQ(tableSearches, 1);
    });
}

TEST_F(Autoprepend, SearchesForAVariableThatTheFileLacksOnEveryCall) {
    writeFile("DUMP_D /dumps\n");
    inFreshProcess([] {
        kvrConfGetByIndex(productRoot);
        kvrConfGetDefaultByIndex(productRoot);
        kvrConfGetDefault("PRODUCT_ROOT_D");
        EXPECT_EQ(tableSearches, 3);
        EXPECT_EQ(opensOf(confFile), 1);
    });
}

TEST_F(KvrConfGetByIndex, HasNoDefaultForAVariableThatTheFileLacks) {
    writeFile("DUMP_D /dumps\n");
    inFreshProcess([] {
        EXPECT_EQ(kvrConfGetByIndex(productRoot), nullptr);
        EXPECT_STREQ(kvrConfGetDefaultByIndex(productRoot), "/usr/local/kvr");
        EXPECT_EQ(kvrConfGetByIndex(productRoot), nullptr);
    });
}

TEST_F(KvrConfGet, FindsAnyNameOfTheFileWithoutDefaultsOrCaching) {
    writeFile("PRODUCT_ETC_D /etc/panel\nDUMP_D /dumps\n");
    inFreshProcess([] {
        EXPECT_STREQ(kvrConfGet("PRODUCT_ETC_D"), "/etc/panel");
        EXPECT_STREQ(kvrConfGet("DUMP_D"), "/dumps");
        EXPECT_STREQ(kvrConfGet("DUMP_D"), "/dumps");
        EXPECT_EQ(kvrConfGet("PRODUCT_ROOT_D"), nullptr);
        EXPECT_EQ(kvrConfGet("dump_d"), nullptr);
        EXPECT_EQ(tableSearches, 5);
    });
}

TEST_F(KvrConfGet, PrintsNothingForAnUnknownName) {
    writeFile("");
    inFreshProcess([] {
        EXPECT_THAT(printedBy([] { EXPECT_EQ(kvrConfGet("PRODUCT_ETC_D"), nullptr); }), IsEmpty());
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
        EXPECT_STREQ(kvrConfGet("PRODUCT_ETC_D"), "/etc/panel");
    });
}

TEST_F(KvrConfGetDefault, DoesNotConsultTheFileForAnUnknownName) {
    writeFile("PRODUCT_ETC_D /etc/panel\n");
    inFreshProcess([] {
        expectNotFound("PRODUCT_ETC_D");
        EXPECT_EQ(opensOf(confFile), 0);
    });
}

TEST_F(KvrConfGetDefault, NamesTheCurrentSystemErrorWithAnUnknownName) {
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

TEST_F(KvrConfGetByIndex, AbortsOutsideTheTable) {
    for (const int index : {0, 30, 31, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_EXIT(kvrConfGetByIndex(index), KilledBySignal(SIGABRT),
                    assertionMessage("kvrConfGetByIndex(int)", arrayIndexText));
    }
}

TEST_F(KvrConfGetDefaultByIndex, AbortsOutsideTheTable) {
    for (const int index : {0, 30, 31, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_EXIT(kvrConfGetDefaultByIndex(index), KilledBySignal(SIGABRT),
                    assertionMessage("kvrConfGetDefaultByIndex(int)", defaultsIndexText));
    }
}

TEST_F(KvrConfGetDefault, AbortsOnTheLowerSentinelByTheIndexCheck) {
    writeFile("_MIN_POSSIBLE_KVR_CONF_VAR_NAME x\n");
    EXPECT_EXIT(kvrConfGetDefault("_MIN_POSSIBLE_KVR_CONF_VAR_NAME"), KilledBySignal(SIGABRT),
                assertionMessage("kvrConfGetDefaultByIndex(int)", defaultsIndexText));
}

TEST_F(KvrConfGetDefault, AbortsOnANullName) {
    EXPECT_EXIT(kvrConfGetDefault(nullptr), KilledBySignal(SIGABRT),
                assertionMessage("kvrConfGetDefault(const char", "((void *)0) != name"));
}
