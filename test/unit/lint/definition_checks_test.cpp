// SPDX-License-Identifier: MIT

#include "lint/definition_checks.h"

#include "support/temporary_directory.h"
#include "xml/handles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>

namespace keldo::lint {
namespace {

using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* title = "<title xml:lang='en-US'>Web</title>\n";
constexpr const char* actions = "<action type='start'>a</action>\n<action type='stop'>b</action>\n";
constexpr const char* pidFile = "<pid-file>/run/web.pid</pid-file>";

std::string service(const std::string& content, const std::string& attributes = "id='web'") {
    return "<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1' " + attributes +
           ">\n" + content + "</service>\n";
}

std::string withTitles(const std::string& titles) {
    return service(titles + actions + "<checks>" + pidFile + "</checks>");
}

std::string withActions(const std::string& text) {
    return service(title + text + "<checks>" + pidFile + "</checks>");
}

std::string withChecks(const std::string& checks) {
    return service(std::string(title) + actions + "<checks>\n" + checks + "</checks>\n");
}

std::string withAttributes(const std::string& attributes) {
    return service(std::string(title) + actions + "<checks>" + pidFile + "</checks>", attributes);
}

/// The findings as lines, of a file of that name.
std::vector<std::string> findingsIn(const std::string& text, const std::string& name = "web.xml",
                                    const std::string& hostName = "host1") {
    const TemporaryDirectory directory;
    const std::string path = directory.write(name, text);
    const XmlDocument document(xmlReadFile(path.c_str(), nullptr, 0));
    std::vector<std::string> lines;
    for (const PlacedFinding& placed : checkDefinition(path, xmlDocGetRootElement(document.get()),
                                                       readServiceDefinition(path), hostName)) {
        EXPECT_EQ(placed.finding.line, xmlGetLineNo(placed.element));
        lines.push_back(findingLine("f", placed.finding).substr(2));
    }
    return lines;
}

bool isService(const std::string& text) {
    const XmlDocument document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0));
    return isServiceElement(xmlDocGetRootElement(document.get()));
}

TEST(ServiceElement, IsOneOfTheNamespace) {
    EXPECT_TRUE(isService(service("")));
    EXPECT_FALSE(isService("<service/>"));
    EXPECT_FALSE(
        isService("<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/2'/>"));
    EXPECT_FALSE(
        isService("<a:servce xmlns:a='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1'/>"));
}

TEST(DefinitionChecks, FindNothingWrongWithADefinition) {
    EXPECT_THAT(findingsIn(withChecks(std::string(pidFile) +
                                      "<unix-socket protocol='x'>/run/web.sock</unix-socket>"
                                      "<port number='80' protocol='http'/>"
                                      "<port number='53' type='UDP'/>"
                                      "<port number='1812' type='UDP' protocol='radius'/>"
                                      "<port number='65535' type='TCPSSL'/>"
                                      "<port number='1' type='TCP'/>")),
                IsEmpty());
    EXPECT_THAT(findingsIn(withChecks("<port number='80'/>")), IsEmpty());
}

TEST(DefinitionChecks, FindAFileThatKeldoctlDoesNotLookFor) {
    EXPECT_THAT(findingsIn(withAttributes("id='web'"), "web.txt"),
                ElementsAre("1: error: the name of the file does not end in .xml, so keldoctl does "
                            "not find it -- web.txt"));
    EXPECT_THAT(findingsIn(withAttributes("id='web'"), "apache.xml"),
                ElementsAre("1: error: the id is not the name of the file, by which keldoctl looks "
                            "for a service -- web"));
}

TEST(DefinitionChecks, FindAMissingId) {
    for (const char* attributes : {"", "id=''"}) {
        EXPECT_THAT(findingsIn(withAttributes(attributes)),
                    ElementsAre("1: error: there is no id, so keldoctl takes the service for "
                                "unknown"));
    }
}

TEST(DefinitionChecks, FindAnIdThatMonitCannotRead) {
    EXPECT_THAT(findingsIn(withAttributes("id='a b'"), "a b.xml"),
                ElementsAre("1: error: monit cannot read an id with a space -- a b"));
}

TEST(DefinitionChecks, WarnOfAnIdThatIsAKeyword) {
    EXPECT_THAT(findingsIn(withAttributes("id='If'"), "If.xml"),
                ElementsAre("1: warning: the id is a word of monit's own language, which not every "
                            "monit takes for a name -- If"));
}

TEST(DefinitionChecks, WarnOfAnIdThatIsTheHosts) {
    EXPECT_THAT(findingsIn(withAttributes("id='Host1'"), "Host1.xml"),
                ElementsAre("1: warning: the id is the name of this host, by which monit means the "
                            "host itself -- Host1"));
}

TEST(DefinitionChecks, FindAMissingEnglishTitle) {
    for (const char* titles :
         {"", "<title xml:lang='de-DE'>Web</title>", "<title xml:lang='en-US'/>",
          "<title xml:lang='en-US'> \n </title>", "<title lang='en-US'>Web</title>"}) {
        SCOPED_TRACE(titles);
        EXPECT_THAT(findingsIn(withTitles(titles)),
                    ElementsAre("1: error: there is no title in en-US, which stands for each "
                                "language without one"));
    }
}

TEST(DefinitionChecks, WarnOfASecondTitleOfALanguage) {
    EXPECT_THAT(findingsIn(withTitles(std::string(title) + "<title xml:lang='de-DE'>a</title>\n" +
                                      "<title xml:lang='de-DE'>b</title>")),
                ElementsAre("4: warning: keldoctl takes only the first title of a language -- "
                            "de-DE"));
}

TEST(DefinitionChecks, FindAnAmpersandInATitle) {
    EXPECT_THAT(
        findingsIn(withTitles("<title xml:lang='en-US'>a &amp; b</title>")),
        ElementsAre("2: error: the report loses a title with an ampersand, which is written "
                    "&amp;amp; here -- a & b"));
    EXPECT_THAT(findingsIn(withTitles("<title xml:lang='en-US'>a &amp;amp; b</title>")), IsEmpty());
}

TEST(DefinitionChecks, WarnOfWhiteSpaceAroundATitle) {
    for (const char* text : {" Web", "Web\n"}) {
        EXPECT_THAT(
            findingsIn(withTitles("<title xml:lang='en-US'>" + std::string(text) + "</title>")),
            ElementsAre(testing::EndsWith("warning: white space around a title is part of it")));
    }
}

TEST(DefinitionChecks, FindMissingActions) {
    EXPECT_THAT(findingsIn(withActions("<action type='Start'>a</action>")),
                ElementsAre("1: error: there is no start action, so a repair does not start the "
                            "service",
                            "1: error: there is no stop action, so a repair does not stop the "
                            "service"));
    EXPECT_THAT(findingsIn(withActions("<action type='start'>a</action>"
                                       "<action type='stop'> </action>")),
                ElementsAre("1: error: there is no stop action, so a repair does not stop the "
                            "service"));
}

TEST(DefinitionChecks, FindASecondActionOfAType) {
    EXPECT_THAT(findingsIn(withActions(std::string(actions) + "<action type='start'>c</action>")),
                ElementsAre("5: error: keldoctl takes only the first action of a type -- start"));
}

TEST(DefinitionChecks, FindThatNothingIsTested) {
    for (const char* checks : {"", "<port number='0'/>"}) {
        EXPECT_THAT(
            findingsIn(withChecks(checks)),
            testing::Contains("1: error: nothing is tested, for want of a pid file and of a "
                              "port, so the service always counts as running"));
    }
}

TEST(DefinitionChecks, LeaveTheNameAndTheChecksOfTheDatabaseAlone) {
    const std::string database =
        service(std::string(title) + actions + "<checks><port number='0'/></checks>", "id='mysql'");
    EXPECT_THAT(findingsIn(database, "mysql.xml", "mysql"), IsEmpty());
    EXPECT_THAT(findingsIn(database, "web.xml"),
                ElementsAre("1: error: the id is not the name of the file, by which keldoctl looks "
                            "for a service -- mysql"));
}

TEST(DefinitionChecks, FindWhatIsWrongWithAPidFile) {
    const std::pair<const char*, const char*> table[] = {
        {"", "error: a pid file without a path is none"},
        {"\n/run/x\n", "error: monit cannot read the path of a pid file with a line feed -- "
                       "\\n/run/x\\n"},
        {"/run/\"x", "error: monit cannot read the path of a pid file with a quote -- /run/\"x"},
        {"/run/a\\nb", "error: monit may take a backslash in the path of a pid file for the "
                       "beginning of another character -- /run/a\\nb"},
        {"run/x",
         "error: monit cannot read the path of a pid file that does not begin with a slash "
         "-- run/x"},
        {" /run/x", "error: monit cannot read the path of a pid file that does not begin with a "
                    "slash --  /run/x"},
        {"/run/x ", "error: white space at the end is part of the path of the pid file -- /run/x "},
        {"/run/x y", "warning: white space in the path of the pid file -- /run/x y"},
    };
    for (const auto& [path, message] : table) {
        SCOPED_TRACE(path);
        EXPECT_THAT(findingsIn(withChecks("<port number='1'/><pid-file>" + std::string(path) +
                                          "</pid-file>")),
                    ElementsAre(testing::EndsWith(message)));
    }
}

TEST(DefinitionChecks, FindASecondPidFile) {
    EXPECT_THAT(findingsIn(withChecks(std::string(pidFile) + "\n<pid-file>/run/b</pid-file>")),
                ElementsAre("7: error: keldoctl takes only the first pid file -- /run/b"));
}

TEST(DefinitionChecks, FindUnixSocketsThatAreNotTested) {
    EXPECT_THAT(
        findingsIn(withChecks("<port number='1'/><unix-socket>/run/x</unix-socket>")),
        ElementsAre("6: error: a unix socket is not tested where there is no pid file -- /run/x"));
}

TEST(DefinitionChecks, FindWhatIsWrongWithAUnixSocket) {
    const std::pair<const char*, const char*> table[] = {
        {"", "error: a unix socket without a path is dropped"},
        {"\n ", "error: monit cannot read a unix socket whose path is white space"},
        {" /run/a\nb", "error: monit cannot read the path of a unix socket with a line feed -- "
                       "/run/a\\nb"},
        {"/run/a b", "error: monit cannot read the path of a unix socket with a space -- /run/a b"},
        {"run/x", "error: monit cannot read the path of a unix socket that does not begin with a "
                  "slash -- run/x"},
    };
    for (const auto& [path, message] : table) {
        SCOPED_TRACE(path);
        EXPECT_THAT(findingsIn(withChecks(pidFile + ("<unix-socket>" + std::string(path)) +
                                          "</unix-socket>")),
                    ElementsAre(testing::EndsWith(message)));
    }
}

TEST(DefinitionChecks, LeaveWhiteSpaceAroundAUnixSocketAlone) {
    EXPECT_THAT(findingsIn(withChecks(std::string(pidFile) +
                                      "<unix-socket>\n \t/run/web.sock\r\n </unix-socket>")),
                IsEmpty());
}

TEST(DefinitionChecks, FindWhatIsWrongWithAPort) {
    const std::pair<const char*, const char*> table[] = {
        {"", "a port without a number is dropped"},
        {"number=''", "a port without a number is dropped"},
        {"number='0'", "a port is dropped whose number is not one -- 0"},
        {"number=' 80'", "a port is dropped whose number is not one --  80"},
        {"number='http'", "a port is dropped whose number is not one -- http"},
        {"number='65536'", "there is no port of this number -- 65536"},
        {"number='-1'", "there is no port of this number -- -1"},
        {"number='80' type='tcp'", "unknown type of port, which keldoctl takes for TCP -- tcp"},
        {"number='80' protocol='htp'",
         "monit cannot read a control file with an unknown protocol -- htp"},
        {"number='1812' protocol='radius'",
         "monit cannot read a control file with this protocol on a port that is not of the type "
         "UDP -- radius"},
        {"number='1812' type='TCPSSL' protocol='Radius'",
         "monit cannot read a control file with this protocol on a port that is not of the type "
         "UDP -- Radius"},
    };
    for (const auto& [attributes, message] : table) {
        SCOPED_TRACE(attributes);
        EXPECT_THAT(findingsIn(withChecks(std::string(pidFile) + "<port " + attributes + "/>")),
                    ElementsAre(std::string("6: error: ") + message));
    }
}

TEST(DefinitionChecks, LeaveElementsOfOtherNamespacesAlone) {
    EXPECT_THAT(findingsIn(withChecks(std::string(pidFile) + "<port xmlns='' number='x'/>")),
                IsEmpty());
}

} // namespace
} // namespace keldo::lint
