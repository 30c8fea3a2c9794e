// SPDX-License-Identifier: MIT

#include "monitor/definition_lines.h"

#include "support/temporary_directory.h"

#include <gtest/gtest.h>

namespace keldo {
namespace {

/// A definition with these checks, which begin in line 3.
std::string withChecks(const std::string& checks) {
    return "<service xmlns='http://" KELDO_SCHEMA_HOST
           "/schemas/keldo/service/1' id='web'>\n<checks>\n" +
           checks + "\n</checks>\n</service>\n";
}

TEST(DefinitionLine, IsTheLineOfTheElementForEachControlFileLine) {
    const std::string process = withChecks("<pid-file>/run/a</pid-file>\n<port number='1'/>\n"
                                           "<unix-socket>/run/b</unix-socket>\n<port number='2'/>");
    const std::string host = withChecks("<port number='1'/>\n<port number='2'/>");
    const std::string twoLines = withChecks("<pid-file>/run\n/a</pid-file>\n<port number='1'/>");
    const std::string dropped = withChecks("<port number='0'/>\n<port number='2'/>");
    const struct {
        std::string text;
        std::vector<long> lines; ///< of the control file's lines 1, 2, ...
    } rows[] = {
        {process, {1, 3, 5, 4, 6, 0}}, // sockets come before ports
        {host, {1, 1, 3, 4, 0}},
        {twoLines, {1, 3, 3, 5, 0}},
        {dropped, {1, 1, 1, 0}}, // one port is ignored, so the line of a port is not known
    };
    const test::TemporaryDirectory directory;
    for (const auto& [text, lines] : rows) {
        SCOPED_TRACE(text);
        const std::string path = directory.write("web.xml", text);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(definitionLine(path, static_cast<long>(i) + 1), lines[i]) << i + 1;
        }
        EXPECT_EQ(definitionLine(path, 0), 0);
        EXPECT_EQ(definitionLine(path, -1), 0);
    }
}

TEST(DefinitionLine, IsZeroIfTheFileCannotBeRead) {
    const test::TemporaryDirectory directory;
    EXPECT_EQ(definitionLine(directory.write("web.xml", "<service>"), 1), 0);
    EXPECT_EQ(definitionLine(directory.path() / "other.xml", 1), 0);
}

} // namespace
} // namespace keldo
