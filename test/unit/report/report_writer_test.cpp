// SPDX-License-Identifier: MIT

#include "report/report_writer.h"

#include "report/element_content.h"
#include "xml/handles.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace {

/// The answers of write() to standard output, one for each call: the largest number of bytes that
/// it takes, or an errno as a negative number. If empty, the real write() is called.
std::deque<ssize_t> writeAnswers;
std::string written;

/// The errno of each poll(), or 0 for success. If empty, the real poll() is called.
std::deque<int> pollAnswers;

bool serialisingFails = false;

/// The contents that were passed to libxml2 since this was cleared.
std::vector<std::string> contents;

} // namespace

extern "C" {
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout);
ssize_t __real_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size);
void __real_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format);
void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format);
xmlNodePtr __real_xmlNewChild(xmlNodePtr parent, xmlNsPtr space, const xmlChar* name,
                              const xmlChar* content);
xmlNodePtr __wrap_xmlNewChild(xmlNodePtr parent, xmlNsPtr space, const xmlChar* name,
                              const xmlChar* content);
}

xmlNodePtr __wrap_xmlNewChild(xmlNodePtr parent, xmlNsPtr space, const xmlChar* name,
                              const xmlChar* content) {
    if (content != nullptr) {
        contents.push_back(keldo::fromXml(content));
    }
    return __real_xmlNewChild(parent, space, name, content);
}

void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format) {
    if (!serialisingFails) {
        __real_xmlDocDumpFormatMemoryEnc(document, buffer, size, encoding, format);
    }
}

ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
    if (fd != STDOUT_FILENO || writeAnswers.empty()) {
        return __real_write(fd, bytes, size);
    }
    const ssize_t answer = writeAnswers.front();
    writeAnswers.pop_front();
    if (answer < 0) {
        errno = static_cast<int>(-answer);
        return -1;
    }
    const size_t count = std::min(size, static_cast<size_t>(answer));
    written.append(static_cast<const char*>(bytes), count);
    return static_cast<ssize_t>(count);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    if (pollAnswers.empty()) {
        return __real_poll(descriptors, count, timeout);
    }
    EXPECT_EQ(1U, count);
    EXPECT_EQ(STDOUT_FILENO, descriptors->fd);
    EXPECT_EQ(POLLOUT, descriptors->events);
    EXPECT_EQ(-1, timeout);
    errno = pollAnswers.front();
    pollAnswers.pop_front();
    return errno == 0 ? 1 : -1;
}

namespace keldo {
namespace {

constexpr const char* emptyDocument = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n";
constexpr auto unknownSeverity = static_cast<Severity>(7); // has no element

/// The document with those lines inside the root element.
std::string document(const std::string& lines) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl>\n" + lines + "</keldoctl>\n";
}

/// The document of a problem "x" with those lines inside it, then those for the actions.
std::string problemDocument(const std::string& lines, const std::string& actions = "") {
    return document("  <problem id=\"x\">\n" + lines + "  </problem>\n" + actions);
}

std::string documentOf(const Problem& problem) {
    ProblemModel model;
    model.addProblem(problem);
    return reportDocument(model);
}

/// The document of an action "a" with a result.
std::string resultDocument(const std::string& status, const std::string& log) {
    return document("  <action id=\"a\">\n    <status>" + status + "</status>\n    " + log +
                    "\n  </action>\n");
}

std::string documentOf(const ActionResult& result) {
    ProblemModel model;
    model.storeAction({"a", {}, "secret commands"});
    model.setActionResult("a", result);
    return reportDocument(model);
}

TEST(ReportDocument, IsAnEmptyRootIfThereIsNothingToReport) {
    EXPECT_EQ(emptyDocument, reportDocument(ProblemModel()));
}

TEST(ReportDocument, HoldsAnUpgrade) {
    EXPECT_EQ(document("  <problem id=\"upgrade\">\n"
                       "    <message xml:lang=\"en-US\">Upgrade is in progress. Please wait."
                       "</message>\n"
                       "    <severity>minor</severity>\n"
                       "  </problem>\n"),
              documentOf(
                  {"upgrade", {"Upgrade is in progress. Please wait.", "en-US"}, Severity::minor}));
}

TEST(ReportDocument, HoldsProblemsActionsAndResults) {
    ProblemModel model;
    model.storeAction({"restart-service:named", {"Restart the DNS service.", "en-US"}, "a\nb"});
    model.setActionResult("restart-service:named", {7, "no such file"});
    const Solution restart = {
        "restart-service:apache", {"Den Dienst Web neu starten.", "de-DE"}, "stop\nstart"};
    model.addProblem({"service-down:apache",
                      {"Der Dienst Web läuft nicht.", "de-DE"},
                      Severity::major,
                      {restart},
                      0});
    EXPECT_EQ(document("  <problem id=\"service-down:apache\">\n"
                       "    <message xml:lang=\"de-DE\">Der Dienst Web läuft nicht.</message>\n"
                       "    <severity>major</severity>\n"
                       "    <solutions>\n"
                       "      <action id=\"restart-service:apache\" default=\"true\"/>\n"
                       "    </solutions>\n"
                       "  </problem>\n"
                       "  <action id=\"restart-service:apache\">\n"
                       "    <message xml:lang=\"de-DE\">Den Dienst Web neu starten.</message>\n"
                       "  </action>\n"
                       "  <action id=\"restart-service:named\">\n"
                       "    <message xml:lang=\"en-US\">Restart the DNS service.</message>\n"
                       "    <status>error</status>\n"
                       "    <log>no such file</log>\n"
                       "  </action>\n"),
              reportDocument(model));
}

TEST(ReportDocument, HasASeverityElementForThreeValuesOnly) {
    const std::pair<std::int32_t, const char*> rows[] = {
        {0, "    <severity>minor</severity>\n"},
        {1, "    <severity>major</severity>\n"},
        {2, "    <severity>critical</severity>\n"},
        {3, ""},
        {7, ""},
        {-1, ""},
    };
    for (const auto& [severity, line] : rows) {
        SCOPED_TRACE(severity);
        EXPECT_EQ(
            problemDocument("    <message xml:lang=\"en-US\">m</message>\n" + std::string(line)),
            documentOf({"x", {"m", "en-US"}, static_cast<Severity>(severity)}));
    }
}

TEST(ReportDocument, OmitsTheElementsOfMissingParts) {
    EXPECT_EQ(problemDocument("    <severity>major</severity>\n"),
              documentOf({"x", {"", "de-DE"}, Severity::major}));
    EXPECT_EQ(document("  <problem id=\"x\"/>\n"), documentOf({"x", {}, unknownSeverity}));
}

TEST(ReportDocument, SkipsEmptyIds) {
    const Solution nameless = {"", {"undefined", "en-US"}, ""};
    ProblemModel model;
    model.addProblem({"", {"m", "en-US"}, Severity::critical, {nameless}, 0});
    model.setActionResult("", {0, "log"});
    EXPECT_EQ(emptyDocument, reportDocument(model));
    EXPECT_EQ(problemDocument("    <solutions/>\n"),
              documentOf({"x", {}, unknownSeverity, {nameless}, 0}));
}

TEST(ReportDocument, ListsSolutionsInTheirOrderAndMarksTheDefault) {
    const std::pair<std::optional<std::size_t>, const char*> rows[] = {
        {std::nullopt, "<action id=\"b\"/>\n      <action id=\"a\"/>\n      <action id=\"a\"/>\n"},
        {0, "<action id=\"b\" default=\"true\"/>\n      <action id=\"a\"/>\n"
            "      <action id=\"a\"/>\n"},
        {1, "<action id=\"b\"/>\n      <action id=\"a\"/>\n      <action id=\"a\"/>\n"}, // no id
        {2, "<action id=\"b\"/>\n      <action id=\"a\" default=\"true\"/>\n"
            "      <action id=\"a\"/>\n"},
        {3, "<action id=\"b\"/>\n      <action id=\"a\"/>\n"
            "      <action id=\"a\" default=\"true\"/>\n"},
    };
    const Solution b = {"b", {}, ""};
    const Solution nameless = {"", {}, ""};
    const Solution a = {"a", {}, ""};
    for (const auto& [position, lines] : rows) {
        SCOPED_TRACE(lines);
        EXPECT_EQ(
            problemDocument("    <solutions>\n      " + std::string(lines) + "    </solutions>\n",
                            "  <action id=\"a\"/>\n  <action id=\"b\"/>\n"),
            documentOf({"x", {}, unknownSeverity, {b, nameless, a, a}, position}));
    }
}

TEST(ReportDocument, CallsEveryStatusButZeroAnError) {
    const std::pair<int, const char*> rows[] = {
        {0, "ok"}, {1, "error"}, {255, "error"}, {-1, "error"}, {256, "error"}};
    for (const auto& [status, word] : rows) {
        SCOPED_TRACE(status);
        EXPECT_EQ(resultDocument(word, "<log>text</log>"),
                  documentOf(ActionResult{status, "text"}));
    }
    EXPECT_EQ(resultDocument("ok", "<log/>"), documentOf(ActionResult{0, ""}));
}

TEST(ReportDocument, OmitsTheResultOfAnActionThatIsNotListed) {
    ProblemModel model;
    model.setActionResult("a", {0, "log"});
    EXPECT_EQ(emptyDocument, reportDocument(model));
}

TEST(ReportDocument, OrdersProblemsThenActionsById) {
    ProblemModel model;
    for (const char* id : {"upgrade", "service-down:named", "service-down:apache"}) {
        model.addProblem({id, {}, unknownSeverity, {{id, {}, ""}}});
    }
    const auto problem = [](const std::string& id) {
        return "  <problem id=\"" + id + "\">\n    <solutions>\n      <action id=\"" + id +
               "\"/>\n    </solutions>\n  </problem>\n";
    };
    EXPECT_EQ(document(problem("service-down:apache") + problem("service-down:named") +
                       problem("upgrade") +
                       "  <action id=\"service-down:apache\"/>\n"
                       "  <action id=\"service-down:named\"/>\n"
                       "  <action id=\"upgrade\"/>\n"),
              reportDocument(model));
}

/// A text, and how it is written as the content of an element and as the value of an attribute.
const struct {
    const char* fact;
    std::string text;
    std::string content;
    std::string value;
} xmlRows[] = {
    {"angle brackets", "<b>x</b>", "&lt;b&gt;x&lt;/b&gt;", "&lt;b&gt;x&lt;/b&gt;"},
    {"quotes", "\"q\" 'a'", "\"q\" 'a'", "&quot;q&quot; 'a'"},
    {"carriage returns", "a\rb\r\n", "a&#13;b&#13;\n", "a&#13;b&#13;&#10;"},
    {"newline and tab", "a\nb\tc", "a\nb\tc", "a&#10;b&#9;c"},
    {"UTF-8", "läuft €", "läuft €", "läuft €"},
    {"end of a CDATA section", "]]>", "]]&gt;", "]]&gt;"},
    {"a blank", " ", " ", " "},
    {"reference to an ampersand", "a &amp; b", "a &amp; b", "a &amp;amp; b"},
    {"references to brackets", "&lt;&gt;", "&lt;&gt;", "&amp;lt;&amp;gt;"},
    {"references to quotes", "&quot;&apos;", "\"'", "&amp;quot;&amp;apos;"},
    {"decimal references", "x&#10;&#0228;", "x\nä", "x&amp;#10;&amp;#0228;"},
    {"hexadecimal references", "x&#xe4;&#x1F600;", "xä😀", "x&amp;#xe4;&amp;#x1F600;"},
    {"references to markup", "&#38;lt;&#x3C;&#62;", "&amp;lt;&lt;&gt;",
     "&amp;#38;lt;&amp;#x3C;&amp;#62;"},
    {"reference to a carriage return", "&#13;", "&#13;", "&amp;#13;"},
    {"unknown entity", "a&unknown;b", "a&amp;unknown;b", "a&amp;unknown;b"},
    {"character that XML lacks", "&#0;&#xD800;", "&amp;#0;&amp;#xD800;", "&amp;#0;&amp;#xD800;"},
    {"bare ampersands", "a && b; c &", "a &amp;&amp; b; c &amp;", "a &amp;&amp; b; c &amp;"},
    {"bytes that are no UTF-8", "l\xE4uft \xE2\x82 \x1B[1m", "l\uFFFDuft \uFFFD \uFFFD[1m",
     "l\uFFFDuft \uFFFD \uFFFD[1m"},
};

TEST(ReportDocument, WritesEachTextAndId) {
    for (const auto& row : xmlRows) {
        SCOPED_TRACE(row.fact);
        ProblemModel model;
        const Solution solution = {row.text, {row.text, row.text}, ""};
        model.addProblem({row.text, {row.text, row.text}, Severity::minor, {solution}});
        model.setActionResult(row.text, {1, row.text});
        contents.clear();
        const std::string report = reportDocument(model);
        const std::string message =
            "    <message xml:lang=\"" + row.value + "\">" + row.content + "</message>\n";
        EXPECT_EQ(document("  <problem id=\"" + row.value + "\">\n" + message +
                           "    <severity>minor</severity>\n"
                           "    <solutions>\n"
                           "      <action id=\"" +
                           row.value +
                           "\"/>\n"
                           "    </solutions>\n"
                           "  </problem>\n"
                           "  <action id=\"" +
                           row.value + "\">\n" + message +
                           "    <status>error</status>\n"
                           "    <log>" +
                           row.content + "</log>\n  </action>\n"),
                  report);
        const std::string given = elementContent(row.text);
        EXPECT_THAT(contents, testing::ElementsAre(given, "minor", given, "error", given));
    }
}

TEST(ReportDocument, HoldsTenThousandProblems) {
    ProblemModel model;
    std::string problems;
    std::string actions;
    for (int i = 10000; i < 20000; ++i) {
        const std::string id = std::to_string(i);
        model.addProblem({id, {"It is off.", "en-US"}, Severity::major, {{"r" + id, {}, ""}}, 0});
        problems += "  <problem id=\"" + id +
                    "\">\n    <message xml:lang=\"en-US\">It is off.</message>\n"
                    "    <severity>major</severity>\n    <solutions>\n      <action id=\"r" +
                    id + "\" default=\"true\"/>\n    </solutions>\n  </problem>\n";
        actions += "  <action id=\"r" + id + "\"/>\n";
    }
    EXPECT_EQ(document(problems + actions), reportDocument(model));
}

/// The run's model with one problem. Each test sets the answers of write() and poll().
class PrintReport : public testing::Test {
protected:
    PrintReport() {
        problemModel = ProblemModel();
        problemModel.addProblem({"x", {"m", "en-US"}, Severity::minor});
        written.clear();
    }
    ~PrintReport() override {
        writeAnswers.clear();
        pollAnswers.clear();
        problemModel = ProblemModel();
    }
};

constexpr ssize_t everything = 1000000;

TEST_F(PrintReport, PrintsAnEmptyModel) {
    problemModel = ProblemModel();
    writeAnswers = {everything};
    printReport();
    EXPECT_EQ(emptyDocument, written);
}

TEST_F(PrintReport, WritesTheWholeDocument) {
    const struct {
        const char* fact;
        std::deque<ssize_t> writes;
        std::deque<int> polls;
    } rows[] = {
        {"at once", {everything}, {}},
        {"short and interrupted writes", {1, -EINTR, 7, -EINTR, -EINTR, 20, everything}, {}},
        {"a full pipe", {10, -EAGAIN, 5, -EAGAIN, -EAGAIN, everything}, {0, EINTR, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fact);
        written.clear();
        writeAnswers = row.writes;
        writeAnswers.push_back(-EIO);
        pollAnswers = row.polls;
        printReport();
        EXPECT_EQ(reportDocument(problemModel), written);
        EXPECT_EQ(std::deque<ssize_t>{-EIO}, writeAnswers);
        EXPECT_TRUE(pollAnswers.empty());
    }
}

TEST_F(PrintReport, GivesUpIfWritingFails) {
    const struct {
        const char* fact;
        std::deque<ssize_t> writes;
        std::deque<int> polls;
    } rows[] = {
        {"an error", {10, -EIO}, {}},
        {"nothing taken", {10, -EINTR, 0}, {}},
        {"no waiting for room", {10, -EAGAIN}, {ENOMEM}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fact);
        written.clear();
        writeAnswers = row.writes;
        writeAnswers.push_back(everything);
        pollAnswers = row.polls;
        printReport();
        EXPECT_EQ(reportDocument(problemModel).substr(0, 10), written);
        EXPECT_EQ(std::deque<ssize_t>{everything}, writeAnswers);
    }
}

TEST_F(PrintReport, ThrowsAndWritesNothingIfSerialisingFails) {
    writeAnswers = {everything};
    serialisingFails = true;
    EXPECT_THAT(printReport,
                testing::ThrowsMessage<std::runtime_error>("the report cannot be serialised"));
    serialisingFails = false;
    EXPECT_EQ("", written);
}

} // namespace
} // namespace keldo
