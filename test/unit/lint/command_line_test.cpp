// SPDX-License-Identifier: MIT

#include "lint/command_line.h"

#include "exec/program_name.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

std::string messageOf(const std::vector<std::string>& arguments) {
    programName = "lint";
    try {
        parseCommandLine(arguments);
    } catch (const CommandLineError& error) {
        return error.what();
    }
    return "";
}

TEST(CommandLine, TakesFilesInTheirOrder) {
    EXPECT_EQ(parseCommandLine({"b.xml", "a.xml"}),
              (CommandLine{false, false, {"b.xml", "a.xml"}}));
}

TEST(CommandLine, ShowsControlFilesWhereverItIsAskedFor) {
    for (const auto& arguments :
         {std::vector<std::string>{"--show", "a.xml"}, {"a.xml", "--show"}}) {
        EXPECT_EQ(parseCommandLine(arguments), (CommandLine{false, true, {"a.xml"}}));
    }
}

TEST(CommandLine, PrintsTheUsageWithOrWithoutFiles) {
    for (const char* option : {"--help", "-h"}) {
        EXPECT_EQ(parseCommandLine({option}), (CommandLine{true, false, {}}));
        EXPECT_EQ(parseCommandLine({option, "a.xml"}), (CommandLine{true, false, {"a.xml"}}));
    }
}

TEST(CommandLine, HasAUsageForReaders) {
    programName = "lint";
    EXPECT_EQ(usage(),
              "Usage: lint [--show] FILE...\n"
              "Checks service definitions, and has monit check what keldoctl would give to it.\n"
              "\n"
              "  --show      print the control files that keldoctl makes of the definitions\n"
              "  -h, --help  print this text\n"
              "\n"
              "Exit status: 0 nothing found, 1 something found, 2 wrong usage or failure.\n");
}

TEST(CommandLine, TakesWhatFollowsTwoHyphensForFiles) {
    EXPECT_EQ(parseCommandLine({"--", "--show", "--", "-x"}),
              (CommandLine{false, false, {"--show", "--", "-x"}}));
}

TEST(CommandLine, EscapesAnUnknownOption) {
    EXPECT_EQ(messageOf({"--\x1B["}),
              "lint: unknown option -- --\\x1b[\nTry `lint --help` for more information.\n");
}

TEST(CommandLine, RefusesUnknownOptions) {
    for (const char* option : {"--shown", "-s", "-"}) {
        EXPECT_EQ(messageOf({"a.xml", option}), std::string("lint: unknown option -- ") + option +
                                                    "\nTry `lint --help` for more information.\n");
    }
}

TEST(CommandLine, RefusesToDoNothing) {
    for (const auto& arguments : {std::vector<std::string>{}, {"--show"}, {"--"}}) {
        EXPECT_EQ(messageOf(arguments),
                  "lint: no file given\nTry `lint --help` for more information.\n");
    }
}

TEST(Usage, NamesTheProgramAsItWasStarted) {
    programName = "lint";
    EXPECT_EQ(usage().substr(0, usage().find('\n')), "Usage: lint [--show] FILE...");
}

} // namespace
} // namespace keldo::lint
