// SPDX-License-Identifier: MIT

#include "adapter/command_line.h"

#include "exec/program_version.h"
#include "failure_of.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace keldo::adapter {
namespace {

using std::chrono::milliseconds;
using Words = std::vector<std::string>;

/// Calls a function with the arguments of main() that begin with the program's name.
auto call(auto function, Words words) {
    words.insert(words.begin(), "monit");
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return function(static_cast<int>(words.size()), arguments.data());
}

Request read(const Words& words) {
    optind = 0; // getopt(3) begins anew
    return call(readCommandLine, words);
}

TEST(CommandLine, HasAFileAndPerhapsALimitWhicheverOptionComesFirst) {
    const struct {
        Words words;
        std::string file;
        std::optional<milliseconds> limit;
    } rows[] = {
        {{"-c", "a b", "-x", "check-status"}, "a b", {}},
        {{"-x", "check-status", "-c", "file"}, "file", {}},
        {{"-cfile", "-xcheck-status"}, "file", {}},
        {{"-c", "", "-x", "check-status"}, "", {}},
        {{"-b", "1", "-c", "f", "-x", "check-status"}, "f", milliseconds(1000)},
        {{"-c", "f", "-b", "0.001", "-x", "check-status"}, "f", milliseconds(1)},
        {{"-c", "f", "-x", "check-status", "-b86400.000"}, "f", milliseconds(86400000)},
        {{"-c", "f", "-x", "check-status", "-b", "007.5"}, "f", milliseconds(7500)},
    };
    for (const auto& [words, file, limit] : rows) {
        SCOPED_TRACE(testing::PrintToString(words));
        const Request request = read(words);
        EXPECT_EQ(request.controlFile, file);
        EXPECT_EQ(request.limit, limit);
    }
}

TEST(CommandLine, AsksForATextIfVersionOrHelpIsTheOnlyArgument) {
    EXPECT_EQ(call(requestedText, {"--version"}),
              std::string("monit-check-status ") + programVersion + "\n");
    EXPECT_EQ(call(requestedText, {"--help"}),
              "usage: monit-check-status -c FILE -x check-status [-b SECONDS]\n"
              "   or: monit-check-status --version | --help\n");
    for (const Words& words : std::vector<Words>{
             {}, {"--v"}, {"--version", "--help"}, {"-c", "--version", "-x", "check-status"}}) {
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(call(requestedText, words), std::nullopt);
    }
}

TEST(CommandLine, IsRefusedWithTheUsageIfItHasAnotherForm) {
    std::vector<Words> rows = {
        {},
        {"-c", "file"},
        {"-x", "check-status"},
        {"-c", "file", "-x"},
        {"-c", "file", "-x", "status"},
        {"-c", "-x", "check-status"},
        {"-c", "file", "-x", "check-status", "web"},
        {"summary"},
        {"summary", "-c", "file", "-x", "check-status"},
        {"-v", "-c", "file", "-x", "check-status"},
        {"-x", "status", "-c", "file", "-x", "check-status"},
        {"-b", "1", "-x", "check-status"},
        {"-b", "x", "-c", "file", "-x", "check-status", "-b", "1"},
        {"-c", "file", "-x", "check-status", "-b"},
    };
    for (const char* seconds :
         {"",      "0",    "0.000", "0.0001",    "1.0000", ".5",
          "1.",    "1,5",  "-1",    "+1",        " 1",     "1 ",
          "1e1",   "0x1",  "nan",   "86400.001", "86401",  "99999999999999999999",
          "1.5.5", "1.-5", "1s"}) {
        rows.push_back({"-c", "file", "-x", "check-status", "-b", seconds});
    }
    for (const Words& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        EXPECT_EQ(test::failureOf([&] { read(row); }),
                  "usage: monit-check-status -c FILE -x check-status [-b SECONDS]");
    }
}

} // namespace
} // namespace keldo::adapter
