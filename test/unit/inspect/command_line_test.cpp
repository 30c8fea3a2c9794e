// SPDX-License-Identifier: MIT

#include "inspect/command_line.h"

#include "exec/process_state.h"

#include <gtest/gtest.h>

namespace keldo::inspect {

TEST(InspectCommandLine, IsAnInspectionInEnglishWithoutArguments) {
    const CommandLine commandLine = parseCommandLine({});
    EXPECT_EQ(commandLine.mode, CommandLine::Mode::inspect);
    EXPECT_EQ(commandLine.language, "en-US");
    EXPECT_EQ(commandLine.timeout, std::chrono::seconds(60));
    EXPECT_EQ(commandLine.jobs, 0U);
    EXPECT_FALSE(commandLine.isJson);
    EXPECT_TRUE(commandLine.repairIds.empty());
}

TEST(InspectCommandLine, TakesOptionsInAnyOrder) {
    const CommandLine commandLine = parseCommandLine(
        {"--json", "--timeout=7", "--jobs=3", "--timeout=86400", "--language=de-DE"});
    EXPECT_EQ(commandLine.language, "de-DE");
    EXPECT_EQ(commandLine.timeout, std::chrono::seconds(86400));
    EXPECT_EQ(commandLine.jobs, 3U);
    EXPECT_TRUE(commandLine.isJson);
}

TEST(InspectCommandLine, TakesEveryWordAfterRepairAsAnId) {
    const CommandLine commandLine = parseCommandLine({"--repair", "a", "--json", "a", ""});
    EXPECT_EQ(commandLine.repairIds, (std::vector<std::string>{"a", "--json", "a", ""}));
    EXPECT_FALSE(commandLine.isJson);
}

TEST(InspectCommandLine, PrintsUsageAndVersion) {
    EXPECT_EQ(parseCommandLine({"--help"}).mode, CommandLine::Mode::printUsage);
    EXPECT_EQ(parseCommandLine({"-h"}).mode, CommandLine::Mode::printUsage);
    EXPECT_EQ(parseCommandLine({"--version"}).mode, CommandLine::Mode::printVersion);
}

TEST(InspectCommandLine, RefusesAnythingElse) {
    programName = "inspect";
    const std::string help = "\nTry `inspect --help` for more information.\n";
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"--language=de"}, "invalid locale code -- de"},
        {{"--language="}, "invalid locale code -- "},
        {{"--timeout=0"}, "invalid number of seconds -- 0"},
        {{"--timeout=86401"}, "invalid number of seconds -- 86401"},
        {{"--timeout=1.5"}, "invalid number of seconds -- 1.5"},
        {{"--timeout= 1"}, "invalid number of seconds --  1"},
        {{"--timeout=99999999999999999999"}, "invalid number of seconds -- 99999999999999999999"},
        {{"--jobs=257"}, "invalid number of jobs -- 257"},
        {{"--jobs=-1"}, "invalid number of jobs -- -1"},
        {{"--timeout"}, "invalid option -- --timeout"},
        {{"--status"}, "invalid option -- --status"},
        {{"web"}, "invalid option -- web"},
        {{""}, "invalid option -- "},
        {{"--json", "--repair"}, "missing id of a repair"},
    };
    for (const auto& [arguments, message] : rows) {
        SCOPED_TRACE(message);
        try {
            parseCommandLine(arguments);
            ADD_FAILURE() << "accepted";
        } catch (const CommandLineError& error) {
            EXPECT_EQ(error.what(), "inspect: " + message + help);
        }
    }
}

} // namespace keldo::inspect
