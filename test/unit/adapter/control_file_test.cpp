// SPDX-License-Identifier: MIT

#include "adapter/control_file.h"

#include <gtest/gtest.h>

namespace keldo::adapter {
namespace {

using Names = std::vector<std::string>;

TEST(ControlFile, KeepsPathAndText) {
    const ControlFile control = parseControlFile("path", "text\n");
    EXPECT_EQ(control.path, "path");
    EXPECT_EQ(control.text, "text\n");
}

TEST(ControlFile, IsEmptyIfItHasOnlyBlanksAndComments) {
    for (const char* text :
         {"", "\n", " \t\r\n\f\v,;\n", "# check process web\n", "\n  # no end of line", "#"}) {
        SCOPED_TRACE(text);
        EXPECT_TRUE(parseControlFile("", text).isEmpty);
    }
    for (const char* text : {"x", "\"", "''", "# comment\nx", " include /etc/x"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(parseControlFile("", text).isEmpty);
    }
}

TEST(ControlFile, ListsItsServicesInOrder) {
    const std::vector<std::pair<std::string, Names>> rows = {
        {"check process web\n\twith pidfile \"/a\"\ncheck host dns with address x", {"web", "dns"}},
        {"CHECK Process web", {"web"}},
        {"check host 'b c' \"d e\"", {"b c"}},
        {"check host 'open\n", {"open\n"}},
        {"check process web#1,check,process;if", {"web#1", "if"}},
        {"check process check check process web", {"check", "web"}},
        {"\"check\" process web", {}},
        {"check process", {}},
        {"check", {}},
        {"checks process web", {}},
        {"check # comment\n host # \"\nweb", {"web"}},
    };
    for (const auto& [text, names] : rows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parseControlFile("", text).serviceNames, names);
    }
}

TEST(ControlFile, CountsItsTests) {
    const std::vector<std::pair<std::string, int>> rows = {
        {"check process web", 0},
        {"check process web if failed port 1 then alert IF does not exist then alert", 2},
        {"check process if", 0},
        {"'if' # if\niff", 0},
    };
    for (const auto& [text, count] : rows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parseControlFile("", text).testCount, count);
    }
}

} // namespace
} // namespace keldo::adapter
