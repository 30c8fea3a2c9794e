// SPDX-License-Identifier: MIT

#include "lint/run.h"

#include "exec/process_state.h"
#include "lint/definition_text.h"
#include "support/temporary_directory.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

/// Runs on files in a temporary directory, which is the current one.
class Run : public testing::Test {
protected:
    Run() {
        programName = "lint";
        std::filesystem::current_path(directory.path());
        directory.write("web.xml", test::withChecks("<port number='80'/>"));
        directory.write("mysql.xml", test::withChecks("", "mysql"));
        directory.write("wrong.xml", test::withChecks("<port number='80'/>"));
    }
    ~Run() override {
        std::filesystem::current_path(before);
        programName.clear();
    }

    const std::filesystem::path before = std::filesystem::current_path();
    const keldo::test::TemporaryDirectory directory;
};

const std::string webControlFile =
    "# web.xml\ncheck host web\n\twith address 127.0.0.1\n\tif failed port 80 then alert\n";
const std::string wrongId =
    "wrong.xml:1: error: the id differs from the file name, by which keldoctl looks up a service "
    "-- web\n";
const std::string missing = "lint: no\\n.xml: cannot read the file -- No such file or directory\n";

TEST_F(Run, PrintsFindingsAndReturnsTheWorstStatus) {
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string output;
        std::string errors;
    } table[] = {
        {{"web.xml"}, 0, "", ""},
        {{"wrong.xml", "web.xml"}, 1, "", wrongId},
        {{"no\n.xml", "wrong.xml"}, 2, "", missing + wrongId},
        {{"--show", "web.xml"}, 0, webControlFile, ""},
        {{"--show", "no\n.xml", "web.xml"}, 2, webControlFile, missing},
        {{"mysql.xml", "--show"}, 0, "# mysql.xml\n# no control file\n", ""},
        {{}, 2, "", "lint: no file given\nTry `lint --help` for more information.\n"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(run(row.arguments), row.status);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.errors);
    }
}

TEST_F(Run, PrintsTheUsage) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(run({"--help"}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Usage: lint [--show] FILE...\n"
              "Checks service definitions, and asks monit to check their control files.\n"
              "\n"
              "  --show      print the control files that keldoctl gives to monit\n"
              "  --version   print the program's version\n"
              "  -h, --help  print this text\n"
              "\n"
              "Exit status: 0 nothing found, 1 something found, 2 wrong usage or failure.\n");
}

TEST_F(Run, EscapesFileNamesAndControlFiles) {
    directory.write("a\n\xC2\x9B", test::withChecks("<pid-file>/run/\xC2\x9B&#13;\t</pid-file>"));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run({"--show", "a\n\xC2\x9B"});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "# a\\n\\xc2\\x9b\ncheck process web\n\twith pidfile \"/run/\\xc2\\x9b\\r\t\"\n");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("a\\n\\xc2\\x9b:1: error: "));
}

} // namespace
} // namespace keldo::lint
