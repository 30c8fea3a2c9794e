// SPDX-License-Identifier: MIT

#include "monitor/service_definition.h"

#include "monitor/forced_failures.h"
#include "monitor/service_definition_reader.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "support/print_message.h"
#include "xml/xpath.h"

#include <boost/lexical_cast.hpp>
#include <cerrno>
#include <clocale>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>

namespace keldo {

// The test framework prints these if values differ.
void PrintTo(const PortCheck& check, std::ostream* out) {
    *out << "{" << static_cast<int>(check.type) << ", " << check.number << ", \"" << check.protocol
         << "\"}";
}

void PrintTo(const UnixSocketCheck& check, std::ostream* out) {
    *out << "{\"" << check.path << "\", \"" << check.protocol << "\"}";
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* schema = "http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1";

/// Reads definitions from files in a temporary directory.
class ReadServiceDefinition : public testing::Test {
protected:
    ~ReadServiceDefinition() override {
        currentLanguage = englishLanguage;
        std::setlocale(LC_ALL, "C");
    }

    ServiceDefinition read(const std::string& content) const {
        return readServiceDefinition(directory.write("definition.xml", content));
    }

    /// Reads a definition whose root element has that content.
    ServiceDefinition readService(const std::string& content) const {
        return read(test::definitionXml("web", content));
    }

    test::TemporaryDirectory directory;
    test::ForcedFailuresEnd failuresEnd;
};

TEST_F(ReadServiceDefinition, ReadsEveryPart) {
    ServiceDefinition expected;
    expected.id = "web";
    expected.title = {"Web Server", "en-US"};
    expected.startAction = "/etc/init.d/web start";
    expected.stopAction = "/etc/init.d/web stop";
    expected.pidFile = "/run/web.pid";
    expected.unixSockets = {{"/run/web.sock", "http"}, {"/run/other.sock", ""}};
    expected.ports = {
        {PortType::TCP, 80, "http"}, {PortType::UDP, 53, "dns"}, {PortType::TCPSSL, 443, ""}};
    EXPECT_EQ(expected, readService("\n"
                                    "<title xml:lang='en-US'>Web Server</title>\n"
                                    "<action type='start'>/etc/init.d/web start</action>\n"
                                    "<action type='stop'>/etc/init.d/web stop</action>\n"
                                    "<checks>\n"
                                    "  <pid-file>/run/web.pid</pid-file>\n"
                                    "  <unix-socket protocol='http'>/run/web.sock</unix-socket>\n"
                                    "  <unix-socket>/run/other.sock</unix-socket>\n"
                                    "  <port number='80' protocol='http'/>\n"
                                    "  <port number='0'/><port type='UDP' protocol='dns'/>\n"
                                    "  <port number='53' type='UDP' protocol='dns'/>\n"
                                    "  <port number='443' type='TCPSSL'/>\n"
                                    "</checks>\n"));
}

TEST_F(ReadServiceDefinition, IsEmptyWithoutAWellFormedFile) {
    EXPECT_EQ(ServiceDefinition(), readServiceDefinition(directory.path() / "missing.xml"));
    EXPECT_EQ(ServiceDefinition(), readServiceDefinition(directory.path()));
    EXPECT_EQ(ServiceDefinition(), read(""));
    EXPECT_EQ(ServiceDefinition(), read("no XML"));
    EXPECT_EQ(ServiceDefinition(), read(test::definitionXml("web", "<title>")));
}

TEST_F(ReadServiceDefinition, IsEmptyWithoutAnXPathContext) {
    const XPathContext inUse(nullptr);
    test::forcedFailures.newXPathContext = true;
    EXPECT_EQ(ServiceDefinition(), readService("<action type='start'>x</action>"));
}

TEST_F(ReadServiceDefinition, ReadsTheRestOfADefinitionWithoutAnId) {
    const ServiceDefinition definition =
        read("<service xmlns='" + std::string(schema) +
             "'><title xml:lang='en-US'>T</title><action type='start'>x</action></service>");
    EXPECT_EQ("", definition.id);
    EXPECT_EQ(Message("T", "en-US"), definition.title);
    EXPECT_EQ("x", definition.startAction);
}

TEST_F(ReadServiceDefinition, IgnoresOtherNamespaces) {
    for (const char* uri : {"http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/2",
                            "https://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1", ""}) {
        SCOPED_TRACE(uri);
        EXPECT_EQ(ServiceDefinition(), read("<service id='web' xmlns='" + std::string(uri) +
                                            "'><action type='start'>x</action></service>"));
    }
}

TEST_F(ReadServiceDefinition, AcceptsAnyNamespacePrefix) {
    const ServiceDefinition definition =
        read("<k:service xmlns:k='" + std::string(schema) +
             "' id='web'><k:checks><k:port number='25'/><port number='26'/></k:checks>"
             "</k:service>");
    EXPECT_EQ("web", definition.id);
    EXPECT_THAT(definition.ports, ElementsAre(PortCheck{PortType::TCP, 25, ""}));
}

TEST_F(ReadServiceDefinition, LeavesMissingPartsEmptyAndIgnoresOtherContent) {
    ServiceDefinition expected;
    expected.id = "web";
    EXPECT_EQ(expected, readService(""));
    EXPECT_EQ(expected, readService("<port number='25'/><pid-file>/x</pid-file><other/>text"
                                    "<action type='reload'>x</action><action>y</action>"
                                    "<checks><other><port number='26'/></other></checks>"
                                    "<group><checks><port number='27'/></checks></group>"));
}

TEST_F(ReadServiceDefinition, TakesTheFirstOfSeveralEqualElements) {
    const ServiceDefinition definition =
        readService("<title xml:lang='en-US'>T1</title><title xml:lang='en-US'>T2</title>"
                    "<action type='stop'>stop1</action><action type='start'>start1</action>"
                    "<action type='start'>start2</action><action type='stop'>stop2</action>"
                    "<checks/><checks><pid-file>/1</pid-file><pid-file>/2</pid-file></checks>");
    EXPECT_EQ("T1", definition.title.text);
    EXPECT_EQ("start1", definition.startAction);
    EXPECT_EQ("stop1", definition.stopAction);
    EXPECT_EQ("/1", definition.pidFile);
}

TEST_F(ReadServiceDefinition, TakesTextsWholeAndUntrimmed) {
    const ServiceDefinition definition =
        readService("<title xml:lang='en-US'> Web <b>and</b> <![CDATA[<More>]]> &amp; </title>"
                    "<action type='start'>one\ntwo </action>"
                    "<checks><pid-file>\n  /run/web.pid\n  </pid-file>"
                    "<unix-socket> /run/x </unix-socket></checks>");
    EXPECT_EQ(" Web and <More> & ", definition.title.text);
    EXPECT_EQ("one\ntwo ", definition.startAction);
    EXPECT_EQ("\n  /run/web.pid\n  ", definition.pidFile);
    EXPECT_THAT(definition.unixSockets, ElementsAre(UnixSocketCheck{" /run/x ", ""}));
}

TEST_F(ReadServiceDefinition, PrefersTheTitleInTheReportsLanguage) {
    const std::string german = "<title xml:lang='de-DE'>Webserver</title>";
    const std::string otherCase = "<title xml:lang='de-de'>Webserver</title>";
    const std::string english = "<title xml:lang='en-US'>Web Server</title>";
    const struct {
        std::string titles;
        Message title;
    } rows[] = {
        {english + german, {"Webserver", "de-DE"}},
        {german + english, {"Webserver", "de-DE"}},
        {german, {"Webserver", "de-DE"}},
        {english, {"Web Server", "en-US"}},
        {otherCase + english, {"Web Server", "en-US"}},
        {"<title xml:lang='de-DE'></title>" + english, {"Web Server", "en-US"}},
        {"<title xml:lang='de'>Webserver</title>", {"", "en-US"}},
        {"<title>Web Server</title>", {"", "en-US"}},
        {"", {"", "en-US"}},
    };
    currentLanguage = "en-US";
    EXPECT_EQ(Message("", "en-US"), readService(german).title);
    currentLanguage = "de-DE";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.titles);
        EXPECT_EQ(row.title, readService(row.titles).title);
    }
}

TEST_F(ReadServiceDefinition, TreatsUnknownPortTypesAsTcp) {
    const struct {
        const char* text;
        PortType type;
    } rows[] = {
        {"TCP", PortType::TCP},     {"UDP", PortType::UDP},    {"TCPSSL", PortType::TCPSSL},
        {"udp", PortType::TCP},     {"tcpssl", PortType::TCP}, {"", PortType::TCP},
        {" UDP", PortType::TCP},    {"UDP ", PortType::TCP},   {"SCTP", PortType::TCP},
        {"TCPSSLX", PortType::TCP},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_THAT(
            readService("<checks><port number='1' type='" + std::string(row.text) + "'/></checks>")
                .ports,
            ElementsAre(PortCheck{row.type, 1, ""}));
    }
}

const struct {
    const char* text;
    std::uint32_t number;
} portNumbers[] = {
    {"80", 80},
    {"080", 80},
    {"+80", 80},
    {"65535", 65535},
    {"65536", 65536},
    {"10000", 10000},
    {"4294967295", 4294967295U},
    {"-1", 4294967295U}, // lexical_cast accepts a sign and computes modulo 2^32
    {"-4294967295", 1},
    {"4294967296", 0},
    {"-4294967296", 0},
    {"0", 0},
    {"-0", 0},
    {"", 0},
    {" 80", 0},
    {"80 ", 0},
    {"80a", 0},
    {"abc", 0},
    {"0x50", 0},
    {"8.0", 0},
    {"1e2", 0},
    {"1,000", 0},
    {"1.000", 0},
    {"+", 0},
    {"-", 0},
    {"--1", 0},
    {"\xd9\xa8", 0}, // an Arabic digit eight
};

std::string portOf(const std::string& number) {
    return "<checks><port number='" + number + "'/></checks>";
}

TEST_F(ReadServiceDefinition, ReadsNumbersAlikeInEveryLocale) {
    for (const char* codeset : {"", "utf8", "latin1"}) {
        if (*codeset != '\0') {
            test::selectLocale(codeset, "de_DE");
        }
        for (const auto& row : portNumbers) {
            SCOPED_TRACE(row.text);
            std::vector<PortCheck> expected;
            if (row.number != 0) {
                expected.push_back({PortType::TCP, row.number, ""});
            }
            EXPECT_EQ(expected, readService(portOf(row.text)).ports);
        }
    }
}

TEST_F(ReadServiceDefinition, SkipsUnixSocketsWithoutAPath) {
    EXPECT_THAT(
        readService("<checks><unix-socket protocol='mysql'>/var/run/x.sock</unix-socket>"
                    "<unix-socket/><unix-socket protocol='http'></unix-socket>"
                    "<unix-socket>/y</unix-socket></checks>")
            .unixSockets,
        ElementsAre(UnixSocketCheck{"/var/run/x.sock", "mysql"}, UnixSocketCheck{"/y", ""}));
}

TEST_F(ReadServiceDefinition, IgnoresAttributesWithANamespace) {
    EXPECT_THAT(readService("<checks><port xmlns:o='urn:other' o:number='1' o:type='UDP' "
                            "number='2' o:protocol='x'/></checks>")
                    .ports,
                ElementsAre(PortCheck{PortType::TCP, 2, ""}));
}

TEST_F(ReadServiceDefinition, KeepsTheFirstSocketOrPortAtEachPosition) {
    const struct {
        std::vector<std::vector<std::uint32_t>> numbers; // in each `checks` element
        std::vector<std::uint32_t> kept;
    } rows[] = {
        {{}, {}},
        {{{}}, {}},
        {{{1, 2, 3}}, {1, 2, 3}},
        {{{1}, {2}}, {1}},
        {{{1, 2}, {}, {3, 4, 5}}, {1, 2, 5}},
        {{{}, {1, 2}}, {1, 2}},
        {{{1}, {2, 3, 4, 5}, {6, 7}}, {1, 3, 4, 5}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.numbers));
        std::string content;
        for (const auto& numbers : row.numbers) {
            content += "<checks>";
            for (const std::uint32_t number : numbers) {
                const std::string text = std::to_string(number);
                content.append("<port number='").append(text).append("'/>text<unix-socket>/");
                content.append(text).append("</unix-socket>");
            }
            content += "</checks>";
        }
        ServiceDefinition expected;
        expected.id = "web";
        for (const std::uint32_t number : row.kept) {
            expected.ports.push_back({PortType::TCP, number, ""});
            expected.unixSockets.push_back({"/" + std::to_string(number), ""});
        }
        EXPECT_EQ(expected, readService(content));
    }
}

TEST_F(ReadServiceDefinition, TakesAnAttributeFromTheFirstElementAtAPositionThatHasIt) {
    EXPECT_THAT(
        readService("<checks><port number='1'/><port type='UDP'/></checks>"
                    "<checks><port number='11' protocol='http'/>"
                    "<port number='12' type='TCPSSL' protocol='imap'/></checks>")
            .ports,
        ElementsAre(PortCheck{PortType::TCP, 1, "http"}, PortCheck{PortType::UDP, 12, "imap"}));
    EXPECT_THAT(readService("<checks><unix-socket>/a</unix-socket><unix-socket/></checks>"
                            "<checks><unix-socket protocol='http'>/b</unix-socket>"
                            "<unix-socket>/c</unix-socket></checks>")
                    .unixSockets,
                ElementsAre(UnixSocketCheck{"/a", "http"}));
}

TEST_F(ReadServiceDefinition, ThrowsIfChecksCannotBeCounted) {
    const std::string xml = test::definitionXml("web", portOf("80"));
    const XmlDocument document(xmlParseMemory(xml.data(), static_cast<int>(xml.size())));
    const XPathContext withoutPrefix(document.get());
    EXPECT_THROW(readPortChecks(withoutPrefix.get()), boost::bad_lexical_cast);
    EXPECT_THROW(readUnixSocketChecks(withoutPrefix.get()), boost::bad_lexical_cast);
    EXPECT_EQ(Message("", "en-US"), readTitle(withoutPrefix.get()));
    test::forcedFailures.registerNamespace = true;
    EXPECT_THROW(readService(portOf("80")), boost::bad_lexical_cast);
}

TEST_F(ReadServiceDefinition, HasNoChecksIfTheirElementsCannotBeFound) {
    test::forcedFailures.elements = true;
    const ServiceDefinition definition =
        readService("<checks><unix-socket>/s</unix-socket><port number='80'/></checks>");
    EXPECT_THAT(definition.unixSockets, IsEmpty());
    EXPECT_THAT(definition.ports, IsEmpty());
}

TEST(PortType, HasFixedNumbers) {
    EXPECT_EQ(0, static_cast<int>(PortType::TCP));
    EXPECT_EQ(1, static_cast<int>(PortType::UDP));
    EXPECT_EQ(2, static_cast<int>(PortType::TCPSSL));
}

TEST(ServiceDefinition, IsEmptyByDefault) {
    const ServiceDefinition definition;
    EXPECT_EQ("", definition.id);
    EXPECT_EQ(Message("", "en-US"), definition.title);
    EXPECT_EQ("", definition.startAction + definition.stopAction + definition.pidFile);
    EXPECT_THAT(definition.unixSockets, IsEmpty());
    EXPECT_THAT(definition.ports, IsEmpty());
    EXPECT_EQ((PortCheck{PortType::TCP, 0, ""}), PortCheck());
}

TEST(ServiceDefinition, IsReadFromTheServiceFolderAtTheRoot) {
    const test::FakePanel panel;
    panel.define("mail", test::definitionXml("mail", "<action type='stop'>x</action>"));
    const ServiceDefinition definition("mail");
    EXPECT_EQ("mail", definition.id);
    EXPECT_EQ("x", definition.stopAction);
    EXPECT_EQ(1, panel.readsOf("mail"));
}

TEST(ServiceDefinition, DoesNotCheckTheRequestedId) {
    const test::FakePanel panel;
    panel.define("", test::definitionXml("nameless", ""));
    panel.define("deep/web", test::definitionXml("deep", ""));
    panel.define("a b&c", test::definitionXml("odd", ""));
    panel.define("web", test::definitionXml("apache", ""));
    EXPECT_EQ("apache", ServiceDefinition("web").id);
    EXPECT_EQ("nameless", ServiceDefinition("").id);
    EXPECT_EQ("deep", ServiceDefinition("deep/web").id);
    EXPECT_EQ("deep", ServiceDefinition("deep/../deep/web").id);
    EXPECT_EQ("odd", ServiceDefinition("a b&c").id);
}

TEST(ServiceDefinition, PrintsOnBothStreamsThatTheVariableIsUnknown) {
    const test::FakePanel panel;
    panel.define("mail", test::definitionXml("mail", ""));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    errno = 0; // otherwise it would be part of the message
    const ServiceDefinition definition("mail");
    const std::string expected = "variable 'PRODUCT_ETC_D' isn't found neither in "
                                 "/etc/kvr/kvr.conf nor in compile-time defaults\n";
    EXPECT_EQ(expected, testing::internal::GetCapturedStdout());
    EXPECT_EQ(expected, testing::internal::GetCapturedStderr());
}

} // namespace
} // namespace keldo
