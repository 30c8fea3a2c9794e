// SPDX-License-Identifier: MIT

#include "app/command_line.h"

#include "exec/process_state.h"
#include "support/catalogue.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace keldo {
namespace {

using Words = std::vector<std::string>;

/// Returns the next packet from the other end of a socket pair; empty if there is none.
std::string nextPacket(int socket) {
    std::array<char, 1000> buffer;
    const ssize_t size = recv(socket, buffer.data(), buffer.size(), 0);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() { programName = "keldoctl"; }
    ~CommandLineTest() override {
        programName.clear();
        std::setlocale(LC_ALL, "C");
    }

    /// The error message for a command line; empty if it is valid.
    static std::string complaint(const Words& words) {
        try {
            parseCommandLine(words);
            return "";
        } catch (const CommandLineError& error) {
            return error.what();
        }
    }
};

TEST_F(CommandLineTest, HasACommandAnOptionalLanguageAndIds) {
    const struct {
        Words words;
        Mode mode;
        std::string language;
        Words ids;
    } rows[] = {
        {{"--status"}, Mode::diagnose, "en-US", {}},
        {{"--repair"}, Mode::execAndDiagnose, "en-US", {}},
        {{"--help"}, Mode::printUsage, "en-US", {}},
        {{"-h"}, Mode::printUsage, "en-US", {}},
        {{"--status", "--language=de-DE"}, Mode::diagnose, "de-DE", {}},
        {{"--help", "--language=de-DE"}, Mode::printUsage, "de-DE", {}},
        {{"-h", "--language=xx-YY", "x"}, Mode::printUsage, "xx-YY", {"x"}},
        {{"--status", "de-DE"}, Mode::diagnose, "en-US", {"de-DE"}},
        {{"--status", "--help"}, Mode::diagnose, "en-US", {"--help"}},
        {{"--repair", "--language=de-DE", "a", "b", "a"},
         Mode::execAndDiagnose,
         "de-DE",
         {"a", "b", "a"}},
        {{"--repair", "a", "--language=de-DE"},
         Mode::execAndDiagnose,
         "en-US",
         {"a", "--language=de-DE"}},
        {{"--repair", "--language=de-DE", "--language=fr-FR"},
         Mode::execAndDiagnose,
         "de-DE",
         {"--language=fr-FR"}},
        {{"--repair", "--language=de-DE", "--language=wrong", ""},
         Mode::execAndDiagnose,
         "de-DE",
         {"--language=wrong", ""}},
        {{"--repair", "--language", "de-DE"},
         Mode::execAndDiagnose,
         "en-US",
         {"--language", "de-DE"}},
        {{"--repair", "--Language=xx"}, Mode::execAndDiagnose, "en-US", {"--Language=xx"}},
        {{"--repair", " --language=de-DE"}, Mode::execAndDiagnose, "en-US", {" --language=de-DE"}},
        {{"--repair", ""}, Mode::execAndDiagnose, "en-US", {""}},
        {{"--status", "--language=aa-AA"}, Mode::diagnose, "aa-AA", {}},
        {{"--status", "--language=zz-ZZ"}, Mode::diagnose, "zz-ZZ", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        const CommandLine commandLine = parseCommandLine(row.words);
        EXPECT_EQ(row.mode, commandLine.mode);
        EXPECT_EQ(row.language, commandLine.language);
        EXPECT_EQ(row.ids, commandLine.repairIds);
    }
}

TEST_F(CommandLineTest, IsRefusedWithAHintIfItsCommandIsMissing) {
    for (const std::string name : {"keldoctl", "other name", ""}) {
        programName = name;
        EXPECT_EQ("Try `" + name + " --help` for more information.", tryHelpLine());
        EXPECT_EQ(name + ": missing command\n" + tryHelpLine() + "\n", complaint({}));
    }
}

TEST_F(CommandLineTest, IsRefusedWithAHintIfItsCommandIsUnknown) {
    for (const std::string command : {"--Status", "status", "-s", "--stat", "--status=1", "", " ",
                                      "--language=de-DE", "-help", "--h", "-H", "%s\n"}) {
        SCOPED_TRACE(command);
        EXPECT_EQ("keldoctl: invalid command -- " + command +
                      "\nTry `keldoctl --help` for more information.\n",
                  complaint({command, "--language=wrong"}));
    }
}

const char* const invalidCodes[] = {
    "",
    "en-us",
    "english",
    "de",
    "de_DE",
    "DE-de",
    "De-DE",
    "dE-DE",
    "de-De",
    "de-dE",
    "de-D",
    "d-DE",
    "de-DEU",
    "deu-DE",
    "de-DE ",
    " de-DE",
    "d1-DE",
    "de-D1",
    "de--D",
    "`e-DE",
    "{e-DE",
    "de-@E",
    "de-[E",
    "dé-DE",
    "\xe4"
    "e-DE",
    "de-\xc4"
    "E",
    "xx",
};

TEST_F(CommandLineTest, IsRefusedWithoutAHintIfItsLanguageCodeIsInvalid) {
    for (const std::string code : invalidCodes) {
        SCOPED_TRACE(code);
        for (const char* command : {"--status", "--repair", "--help", "-h"}) {
            EXPECT_EQ("keldoctl: invalid locale code -- " + code + "\n",
                      complaint({command, "--language=" + code, "more"}));
        }
    }
}

TEST_F(CommandLineTest, AcceptsTheSameLanguageCodesInEveryLocale) {
    test::selectLocale("latin1", "de_DE");
    EXPECT_NE("", complaint({"--status", "--language=\xe4"
                                         "e-DE"}));
    EXPECT_NE("", complaint({"--status", "--language=de-\xc4"
                                         "E"}));
    EXPECT_EQ("", complaint({"--status", "--language=de-DE"}));
}

TEST_F(CommandLineTest, PrintsTheUsageInTwoFlushedLines) {
    std::array<int, 2> ends;
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()));
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    printUsage();
    dup2(kept, STDOUT_FILENO);
    close(kept);
    EXPECT_EQ("Usage: keldoctl --status [--language=LANG_CODE]\n", nextPacket(ends[0]));
    EXPECT_EQ("   or: keldoctl --repair [--language=LANG_CODE] ID...\n", nextPacket(ends[0]));
    close(ends[0]);
}

} // namespace
} // namespace keldo
