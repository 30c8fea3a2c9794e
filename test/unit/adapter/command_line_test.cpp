// SPDX-License-Identifier: MIT

#include "adapter/command_line.h"

#include "adapter/file.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace keldo::adapter {
namespace {

std::string argumentOf(std::vector<std::string> words) {
    words.insert(words.begin(), "monit");
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    optind = 0; // getopt(3) begins anew
    return controlFileArgument(static_cast<int>(words.size()), arguments.data());
}

TEST(ControlFileArgument, IsTheFileWhicheverOptionComesFirst) {
    EXPECT_EQ(argumentOf({"-c", "a b", "-x", "check-status"}), "a b");
    EXPECT_EQ(argumentOf({"-x", "check-status", "-c", "file"}), "file");
    EXPECT_EQ(argumentOf({"-cfile", "-xcheck-status"}), "file");
    EXPECT_EQ(argumentOf({"-c", "", "-x", "check-status"}), "");
}

TEST(ControlFileArgument, IsRefusedWithTheUsageForAnyOtherCommandLine) {
    const std::vector<std::vector<std::string>> rows = {
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
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        try {
            argumentOf(row);
            ADD_FAILURE();
        } catch (const Failure& failure) {
            EXPECT_STREQ(failure.what(), "usage: monit-check-status -c FILE -x check-status");
        }
    }
}

} // namespace
} // namespace keldo::adapter
