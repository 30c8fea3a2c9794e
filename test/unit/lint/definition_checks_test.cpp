// SPDX-License-Identifier: MIT

#include "lint/definition_checks.h"

#include "lint/definition_text.h"
#include "monitor/service_definition_reader.h"
#include "xml/handles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>

namespace keldo::lint {
namespace {

using test::actions;
using test::pidFile;
using test::service;
using test::title;
using test::withChecks;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

XmlDocument parsed(const std::string& text) {
    return XmlDocument(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0));
}

/// The findings in a file of that name, on a host with the name "host1".
Lines findingsIn(const std::string& text, const std::string& name = "web.xml") {
    const XmlDocument document = parsed(text);
    return test::linesOf(checkDefinition("/service/" + name, xmlDocGetRootElement(document.get()),
                                         readServiceDefinition(document.get()), "host1")
                             .findings);
}

/// Pairs of a definition's text and the findings in it.
using Table = std::vector<std::pair<std::string, Lines>>;

void expectFindings(const Table& table) {
    for (const auto& [text, lines] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(findingsIn(text), lines);
    }
}

/// Pairs of a definition's checks and the only finding in them.
using ChecksTable = std::vector<std::pair<std::string, std::string>>;

void expectFindingInChecks(const ChecksTable& table) {
    for (const auto& [checks, line] : table) {
        SCOPED_TRACE(checks);
        EXPECT_THAT(findingsIn(withChecks(checks)), ElementsAre(line));
    }
}

std::string withTitles(const std::string& titles) {
    return service(titles + actions + "<checks>" + pidFile + "</checks>");
}

std::string withActions(const std::string& text) {
    return service(title + text + "<checks>" + pidFile + "</checks>");
}

std::string withAttributes(const std::string& attributes) {
    return service(title + actions + "<checks>" + pidFile + "</checks>", attributes);
}

TEST(IsServiceElement, RequiresNameAndNamespace) {
    const std::string uri = "http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/";
    const std::pair<std::string, bool> table[] = {
        {service(""), true},
        {"<a:service xmlns:a='" + uri + "1'/>", true},
        {"<service/>", false},
        {"<service xmlns='" + uri + "2'/>", false},
        {"<servce xmlns='" + uri + "1'/>", false},
    };
    for (const auto& [text, expected] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(isServiceElement(xmlDocGetRootElement(parsed(text).get())), expected);
    }
}

TEST(CheckDefinition, AcceptsDefinitionsWithoutFaults) {
    for (const std::string& text : {
             withChecks(pidFile + "<unix-socket protocol='x'>\n \t/run/web.sock\r\n </unix-socket>"
                                  "<port number='80' protocol='http'/>"
                                  "<port number='53' type='UDP'/>"
                                  "<port number='1812' type='UDP' protocol='radius'/>"
                                  "<port number='65535' type='TCPSSL'/>"
                                  "<port number='1' type='TCP'/>"),
             withChecks("<port number='80'/>"),
             withChecks(pidFile + "<port xmlns='' number='x'/>"),
             withTitles("<title xml:lang='en-US'>a &amp; b &amp;amp;</title>"),
         }) {
        SCOPED_TRACE(text);
        EXPECT_THAT(findingsIn(text), IsEmpty());
    }
}

TEST(CheckDefinition, ComparesIdAndFileName) {
    const struct {
        std::string attributes;
        std::string fileName;
        std::string line;
    } table[] = {
        {"id='web'", "web.txt",
         "1: error: the file name does not end in .xml, so keldoctl does not find the file -- "
         "web.txt"},
        {"id='web'", "apache.xml",
         "1: error: the id differs from the file name, by which keldoctl looks up a service -- "
         "web"},
        {"id='mysql'", "web.xml",
         "1: error: the id differs from the file name, by which keldoctl looks up a service -- "
         "mysql"},
        {"", "web.xml", "1: error: the id is missing, so keldoctl does not know the service"},
        {"id=''", "web.xml", "1: error: the id is missing, so keldoctl does not know the service"},
        {"id='a b'", "a b.xml", "1: error: monit cannot read an id with a space -- a b"},
        {"id='Host1'", "Host1.xml",
         "1: warning: the id is this host's name, which monit uses for the host itself -- Host1"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.attributes + " in " + row.fileName);
        EXPECT_THAT(findingsIn(withAttributes(row.attributes), row.fileName),
                    ElementsAre(row.line));
    }
}

TEST(CheckDefinition, ChecksTitles) {
    const std::string missing = "1: error: there is no title in en-US, which keldoctl uses for "
                                "each language without one";
    const std::string whiteSpace = "2: warning: white space around a title is part of the title";
    expectFindings({
        {withTitles(""), {missing}},
        {withTitles("<title xml:lang='de-DE'>Web</title>"), {missing}},
        {withTitles("<title xml:lang='en-US'/>"), {missing}},
        {withTitles("<title xml:lang='en-US'> \n </title>"), {missing}},
        {withTitles("<title lang='en-US'>Web</title>"), {missing}},
        {withTitles("<title xml:lang='en-US'> Web</title>"), {whiteSpace}},
        {withTitles("<title xml:lang='en-US'>Web\n</title>"), {whiteSpace}},
        {withTitles(title + "<title xml:lang='de-DE'>a</title>\n<title xml:lang='de-DE'>b</title>"),
         {"4: warning: keldoctl uses only the first title in a language -- de-DE"}},
    });
}

TEST(CheckDefinition, ChecksActions) {
    const std::string noStart =
        "1: error: there is no start action, so a repair does not start the service";
    const std::string noStop =
        "1: error: there is no stop action, so a repair does not stop the service";
    expectFindings({
        {withActions("<action type='Start'>a</action>"), {noStart, noStop}},
        {withActions("<action type='start'>a</action><action type='stop'> </action>"), {noStop}},
        {withActions(actions + "<action type='start'>c</action>"),
         {"5: error: keldoctl uses only the first action of a type -- start"}},
    });
}

TEST(CheckDefinition, ReportsThatNothingIsTested) {
    for (const char* checks : {"", "<port number='0'/>"}) {
        SCOPED_TRACE(checks);
        EXPECT_THAT(findingsIn(withChecks(checks)),
                    testing::Contains("1: error: there is neither a pid file nor a port, so "
                                      "nothing is tested and the service always counts as "
                                      "running"));
    }
}

TEST(CheckDefinition, IgnoresNameAndChecksOfTheDatabase) {
    EXPECT_THAT(findingsIn(withChecks("<port number='0'/>", "mysql"), "mysql.xml"), IsEmpty());
}

TEST(CheckDefinition, ChecksPidFiles) {
    const auto pidFileOf = [](const std::string& path) {
        return "<port number='1'/><pid-file>" + path + "</pid-file>";
    };
    expectFindingInChecks({
        {pidFileOf(""), "6: error: a pid file element without a path has no effect"},
        {pidFileOf("\n/run/x\n"),
         "6: error: monit cannot read a pid file path with a line feed -- \\n/run/x\\n"},
        {pidFileOf("/run/\"x"), "6: error: monit cannot read a pid file path with a quote -- "
                                "/run/\"x"},
        {pidFileOf("/run/a\\nb"), "6: error: monit may read a backslash in a pid file path as part "
                                  "of an escape sequence -- /run/a\\nb"},
        {pidFileOf("run/x"), "6: error: monit cannot read a pid file path that does not begin "
                             "with a slash -- run/x"},
        {pidFileOf(" /run/x"), "6: error: monit cannot read a pid file path that does not begin "
                               "with a slash --  /run/x"},
        {pidFileOf("/run/x "),
         "6: error: white space at the end is part of the pid file path -- /run/x "},
        {pidFileOf("/run/x y"), "6: warning: the pid file path contains white space -- /run/x y"},
        {pidFile + "\n<pid-file>/run/b</pid-file>",
         "7: error: keldoctl uses only the first pid file -- /run/b"},
    });
}

TEST(CheckDefinition, ChecksUnixSockets) {
    const auto socketOf = [](const std::string& path) {
        return pidFile + "<unix-socket>" + path + "</unix-socket>";
    };
    expectFindingInChecks({
        {socketOf(""), "6: error: keldoctl ignores a unix socket without a path"},
        {socketOf("\n "), "6: error: monit cannot read a unix socket path of white space alone"},
        {socketOf(" /run/a\nb"),
         "6: error: monit cannot read a unix socket path with a line feed -- /run/a\\nb"},
        {socketOf("/run/a b"),
         "6: error: monit cannot read a unix socket path with a space -- /run/a b"},
        {socketOf("run/x"), "6: error: monit cannot read a unix socket path that does not begin "
                            "with a slash -- run/x"},
        {"<port number='1'/><unix-socket>/run/x</unix-socket>",
         "6: error: a unix socket is not tested without a pid file -- /run/x"},
    });
}

TEST(CheckDefinition, ChecksPorts) {
    const ChecksTable table = {
        {"", "keldoctl ignores a port without a number"},
        {"number=''", "keldoctl ignores a port without a number"},
        {"number='0'", "keldoctl ignores a port without a usable number -- 0"},
        {"number=' 80'", "keldoctl ignores a port without a usable number --  80"},
        {"number='http'", "keldoctl ignores a port without a usable number -- http"},
        {"number='65536'", "the highest port number is 65535 -- 65536"},
        {"number='-1'", "the highest port number is 65535 -- -1"},
        {"number='80' type='tcp'", "keldoctl treats an unknown port type as TCP -- tcp"},
        {"number='80' protocol='htp'", "monit cannot read an unknown protocol -- htp"},
        {"number='1812' protocol='radius'",
         "monit cannot read this protocol unless the port is UDP -- radius"},
        {"number='1812' type='TCPSSL' protocol='Radius'",
         "monit cannot read this protocol unless the port is UDP -- Radius"},
    };
    for (const auto& [attributes, text] : table) {
        expectFindingInChecks({{pidFile + "<port " + attributes + "/>", "6: error: " + text}});
    }
}

TEST(CheckDefinition, NamesTheElementsWithErrors) {
    const XmlDocument document =
        parsed(withChecks("<pid-file>/run/a b</pid-file>\n<port number='0'/>"));
    const Elements faulty =
        checkDefinition("/service/web.xml", xmlDocGetRootElement(document.get()),
                        readServiceDefinition(document.get()), "host1")
            .faultyElements;
    ASSERT_EQ(faulty.size(), 1U);
    EXPECT_EQ(fromXml((*faulty.begin())->name), "port");
}

} // namespace
} // namespace keldo::lint
