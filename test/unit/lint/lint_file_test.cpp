// SPDX-License-Identifier: MIT

#include "lint/lint_file.h"

#include "support/temporary_directory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

namespace keldo::lint {
namespace {

using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

std::string service(const std::string& checks) {
    return "<service xmlns='http://" KELDO_SCHEMA_HOST
           "/schemas/keldo/service/1' id='web'>\n<title xml:lang='en-US'>Web</title>\n"
           "<action type='start'>a</action>\n<action type='stop'>b</action>\n<checks>\n" +
           checks + "</checks></service>\n";
}

Result lintText(const std::string& text) {
    const TemporaryDirectory directory;
    return lintFile(directory.write("web.xml", text));
}

std::vector<std::string> linesOf(const Result& result) {
    std::vector<std::string> lines;
    for (const Finding& finding : result.findings) {
        lines.push_back(findingLine("f", finding).substr(2));
    }
    return lines;
}

TEST(LintFile, HasTheControlFileThatKeldoctlWrites) {
    const Result result = lintText(service("<pid-file>/run/web.pid</pid-file><port number='80'/>"));
    EXPECT_THAT(linesOf(result), IsEmpty());
    EXPECT_EQ(result.controlFile, "check process web\n\twith pidfile \"/run/web.pid\"\n\tif failed "
                                  "port 80 then alert\n");
}

TEST(LintFile, HasAnEmptyControlFileWhereNothingIsTested) {
    EXPECT_EQ(lintText(service("")).controlFile, "");
}

TEST(LintFile, HasNoControlFileOfTheDatabase) {
    const TemporaryDirectory directory;
    std::string text = service("");
    text.replace(text.find("'web'"), 5, "'mysql'");
    const Result result = lintFile(directory.write("mysql.xml", text));
    EXPECT_THAT(linesOf(result), IsEmpty());
    EXPECT_EQ(result.controlFile, std::nullopt);
}

TEST(LintFile, TellsOfAFileThatIsNoXml) {
    EXPECT_THAT(linesOf(lintText("<service>\n<title>\n</service>\n")),
                ElementsAre("3: error: this is no XML -- Opening and ending tag mismatch: title "
                            "line 2 and service",
                            testing::StartsWith("4: error: this is no XML -- ")));
    EXPECT_THAT(linesOf(lintText("")),
                ElementsAre("1: error: this is no XML -- Document is empty"));
}

TEST(LintFile, TellsOfAnotherRootElement) {
    const Result result = lintText("\n<service/>");
    EXPECT_THAT(
        linesOf(result),
        ElementsAre("2: error: keldoctl reads nothing of a file whose root element is not a "
                    "service in the namespace http://" KELDO_SCHEMA_HOST
                    "/schemas/keldo/service/1"));
    EXPECT_EQ(result.controlFile, std::nullopt);
}

TEST(LintFile, WarnsOfXmlThatIsReadNevertheless) {
    const Result result = lintText(service("<port number='80' x:y=''/>"));
    EXPECT_THAT(linesOf(result), testing::Contains(testing::StartsWith(
                                     "6: warning: keldoctl reads this, but it is no good XML -- "
                                     "Namespace prefix x for y")));
    EXPECT_NE(result.controlFile, std::nullopt);
    EXPECT_THAT(linesOf(lintText("\n<x:y/>")),
                ElementsAre(testing::StartsWith("2: warning: keldoctl reads this, but it is no "
                                                "good XML -- "),
                            testing::StartsWith("2: error: keldoctl reads nothing of a file")));
}

TEST(LintFile, TakesTheTextsOfEntities) {
    const Result result = lintText(
        "<!DOCTYPE service [<!ENTITY p '/run/x'><!ENTITY n '80'><!ENTITY q '<port "
        "number=\"1\"/>'>]>" +
        service("<pid-file>&p;.pid</pid-file>&q;\n<port number='&n;'/><port number='&n;0&n;0'/>"));
    EXPECT_THAT(linesOf(result),
                ElementsAre(testing::StartsWith("1: warning: keldoctl reads this, but it is no "
                                                "good XML -- Namespace"),
                            "7: error: there is no port of this number -- 800800"));
    EXPECT_EQ(result.controlFile,
              "check process web\n\twith pidfile \"/run/x.pid\"\n\tif failed port 80 then alert\n"
              "\tif failed port 800800 then alert\n");
}

TEST(LintFile, TellsOfAnElementByTheChecksRatherThanTheSchema) {
    EXPECT_THAT(linesOf(lintText(service("<port number='0'/>\n<port number='81'/>"))),
                ElementsAre("6: error: a port is dropped whose number is not one -- 0"));
}

TEST(LintFile, TellsOfTheSchemaBesideAWarning) {
    EXPECT_THAT(
        linesOf(lintText(service("<pid-file a='b'>/run/a b</pid-file>"))),
        ElementsAre("6: warning: white space in the path of the pid file -- /run/a b",
                    testing::StartsWith("6: error: the schema does not allow this -- Element "
                                        "'pid-file'")));
}

TEST(LintFile, SortsByLine) {
    EXPECT_THAT(linesOf(lintText(service("<port number='80' protocol='a'/>\n<x/>\n"
                                         "<port number='80' protocol='b'/>"))),
                ElementsAre(testing::StartsWith("6: "), testing::StartsWith("7: "),
                            testing::StartsWith("8: ")));
}

TEST(LintFile, TakesANameForAFileWhateverItIs) {
    const TemporaryDirectory directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directories(directory.path() / "http:/x");
    std::filesystem::current_path(directory.path());
    for (const char* name : {"-", "http://x/web", "web"}) {
        SCOPED_TRACE(name);
        directory.write(name, service("<port number='80'/>"));
        const Result result = lintFile(name);
        EXPECT_THAT(linesOf(result), ElementsAre(testing::StartsWith("1: error: the name of the "
                                                                     "file does not end in .xml")));
        EXPECT_EQ(result.controlFile,
                  "check host web\n\twith address 127.0.0.1\n\tif failed port 80 then alert\n");
    }
    std::filesystem::current_path(before);
}

TEST(LintFile, LeavesLibxmlWithoutAHandlerOfItsOwn) {
    lintText(service(""));
    EXPECT_EQ(xmlStructuredError, nullptr);
}

TEST(LintFile, RefusesWhatCannotBeRead) {
    const TemporaryDirectory directory;
    const std::string missing = directory.path() / "missing.xml";
    const std::pair<std::string, std::string> table[] = {
        {missing, "cannot read a file -- " + missing + ": No such file or directory"},
        {directory.path(),
         "cannot read a file -- " + directory.path().string() + ": Is a directory"},
    };
    for (const auto& [path, message] : table) {
        try {
            lintFile(path);
            ADD_FAILURE() << path;
        } catch (const UnreadableFile& error) {
            EXPECT_EQ(error.what(), message);
        }
    }
}

} // namespace
} // namespace keldo::lint
