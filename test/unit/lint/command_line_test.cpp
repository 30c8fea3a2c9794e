// SPDX-License-Identifier: MIT

#include "lint/command_line.h"

#include "exec/process_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

using Arguments = std::vector<std::string>;

TEST(ParseCommandLine, ReadsOptionsAndFiles) {
    const std::pair<Arguments, CommandLine> table[] = {
        {{"b.xml", "a.xml"}, {.files = {"b.xml", "a.xml"}}},
        {{"--show", "a.xml"}, {.showControlFiles = true, .files = {"a.xml"}}},
        {{"a.xml", "--show"}, {.showControlFiles = true, .files = {"a.xml"}}},
        {{"--help"}, {.printUsage = true, .files = {}}},
        {{"--version"}, {.printVersion = true, .files = {}}},
        {{"-h", "a.xml"}, {.printUsage = true, .files = {"a.xml"}}},
        {{"--", "--show", "--", "-x"}, {.files = {"--show", "--", "-x"}}},
    };
    for (const auto& [arguments, commandLine] : table) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        EXPECT_EQ(parseCommandLine(arguments), commandLine);
    }
}

TEST(ParseCommandLine, RefusesUnknownOptionsAndMissingFiles) {
    programName = "lint";
    const std::pair<Arguments, std::string> table[] = {
        {{"a.xml", "--shown"}, "unknown option -- --shown"},
        {{"a.xml", "-s"}, "unknown option -- -s"},
        {{"-"}, "unknown option -- -"},
        {{"--\x1B["}, "unknown option -- --\\x1b["},
        {{}, "no file given"},
        {{"--show"}, "no file given"},
        {{"--"}, "no file given"},
    };
    for (const auto& [arguments, text] : table) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        EXPECT_THAT([&words = arguments] { parseCommandLine(words); },
                    testing::ThrowsMessage<CommandLineError>(
                        "lint: " + text + "\nTry `lint --help` for more information.\n"));
    }
}

} // namespace
} // namespace keldo::lint
