// SPDX-License-Identifier: MIT

#include "lint/lint_file.h"

#include "lint/definition_text.h"
#include "support/temporary_directory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

using keldo::test::TemporaryDirectory;
using test::linesOf;
using test::withChecks;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

Result lintText(const std::string& text, const std::string& name = "web.xml") {
    const TemporaryDirectory directory;
    return lintFile(directory.write(name, text));
}

TEST(LintFile, ReturnsTheControlFileThatKeldoctlWrites) {
    const Result result =
        lintText(withChecks("<pid-file>/run/web.pid</pid-file><port number='80'/>"));
    EXPECT_THAT(linesOf(result.findings), IsEmpty());
    EXPECT_EQ(result.controlFile, "check process web\n\twith pidfile \"/run/web.pid\"\n\tif failed "
                                  "port 80 then alert\n");
    EXPECT_EQ(lintText(withChecks("")).controlFile, "") << "nothing is tested";
}

TEST(LintFile, ReturnsNoControlFileForTheDatabase) {
    const Result result = lintText(withChecks("", "mysql"), "mysql.xml");
    EXPECT_THAT(linesOf(result.findings), IsEmpty());
    EXPECT_EQ(result.controlFile, std::nullopt);
}

TEST(LintFile, ReportsOnlyTheRootElementIfItIsNoService) {
    const Result result = lintText("\n<service/>");
    EXPECT_THAT(linesOf(result.findings),
                ElementsAre("2: error: keldoctl ignores a file whose root element is not a service "
                            "in the namespace http://" KELDO_SCHEMA_HOST
                            "/schemas/keldo/service/1"));
    EXPECT_EQ(result.controlFile, std::nullopt);
}

TEST(LintFile, ReportsNothingElseAboutAFileThatIsNotXmlOrExceedsALimit) {
    for (const std::string& text : {std::string("<a>"), std::string(300000, 'x')}) {
        const Result result = lintText(text);
        EXPECT_EQ(result.findings.size(), 1U);
        EXPECT_EQ(result.controlFile, std::nullopt);
    }
}

TEST(LintFile, ReadsEntitiesLikeKeldoctl) {
    const Result result =
        lintText("<!DOCTYPE service [<!ENTITY p '/run/x'><!ENTITY n '80'><!ENTITY q '<port "
                 "number=\"1\"/>'>]>" +
                 withChecks("<pid-file>&p;.pid</pid-file>&q;\n<port number='&n;'/>"
                            "<port number='&n;0&n;0'/>"));
    // Before this finding, some versions of libxml2 complain about the namespace of &q;'s element.
    EXPECT_EQ(linesOf(result.findings).back(),
              "7: error: the highest port number is 65535 -- 800800");
    EXPECT_EQ(result.controlFile,
              "check process web\n\twith pidfile \"/run/x.pid\"\n\tif failed port 80 then alert\n"
              "\tif failed port 800800 then alert\n");
}

TEST(LintFile, OmitsSchemaFindingsAboutElementsWithAnError) {
    EXPECT_THAT(linesOf(lintText(withChecks("<port number='0'/>\n<port number='81'/>")).findings),
                ElementsAre("6: error: keldoctl ignores a port without a usable number -- 0"));
    EXPECT_THAT(
        linesOf(lintText(withChecks("<pid-file a='b'>/run/a b</pid-file>")).findings),
        ElementsAre("6: warning: the pid file path contains white space -- /run/a b",
                    StartsWith("6: error: the schema does not allow this -- Element 'pid-file'")));
}

TEST(LintFile, SortsFindingsByLine) {
    EXPECT_THAT(linesOf(lintText(withChecks("<port number='80' protocol='a'/>\n<x/>\n"
                                            "<port number='80' protocol='b'/>"))
                            .findings),
                ElementsAre(StartsWith("6: "), StartsWith("7: "), StartsWith("8: ")));
}

TEST(LintFile, TreatsEveryArgumentAsAFileName) {
    const TemporaryDirectory directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directories(directory.path() / "http:/x");
    std::filesystem::current_path(directory.path());
    for (const char* name : {"-", "http://x/web", "web"}) {
        SCOPED_TRACE(name);
        directory.write(name, withChecks("<port number='80'/>"));
        EXPECT_THAT(linesOf(lintFile(name).findings),
                    ElementsAre(StartsWith("1: error: the file name does not end in .xml")));
    }
    std::filesystem::current_path(before);
}

} // namespace
} // namespace keldo::lint
