// SPDX-License-Identifier: MIT

#include "report/report_writer.h"

#include "support/random_texts.h"
#include "xml/handles.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <map>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

/// What write() to standard output does, once for each answer, instead of writing there: takes at
/// most that many bytes, or fails with the errno of a negative answer. Empty: it writes.
std::deque<ssize_t> writeAnswers;
std::string written;

/// The errno of each poll(); 0: it succeeds. Then the real ones.
std::deque<int> pollAnswers;

} // namespace

extern "C" {
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout);
ssize_t __real_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size);
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

/// Whether libxml2 gives no text for a document.
bool serialisingFails = false;

extern "C" {
void __real_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format);
void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format);
}

void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar** buffer, int* size,
                                      const char* encoding, int format) {
    if (!serialisingFails) {
        __real_xmlDocDumpFormatMemoryEnc(document, buffer, size, encoding, format);
    }
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

/// The document with those lines inside the root element.
std::string document(const std::string& lines) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl>\n" + lines + "</keldoctl>\n";
}

std::string documentOf(const Problem& problem) {
    ProblemModel model;
    model.addProblem(problem);
    return reportDocument(model);
}

TEST(ReportDocument, OfAnEmptyModelIsAnEmptyRoot) {
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n",
              reportDocument(ProblemModel()));
}

TEST(ReportDocument, OfAnUpgradeHoldsThatAlone) {
    EXPECT_EQ(document("  <problem id=\"upgrade\">\n"
                       "    <message xml:lang=\"en-US\">Upgrade is in progress. Please wait."
                       "</message>\n"
                       "    <severity>minor</severity>\n"
                       "  </problem>\n"),
              documentOf(
                  {"upgrade", {"Upgrade is in progress. Please wait.", "en-US"}, Severity::minor}));
}

TEST(ReportDocument, OfARepairHoldsProblemsActionsAndResults) {
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

TEST(ReportDocument, NamesTheThreeSeveritiesAndNoOther) {
    const struct {
        std::int32_t severity;
        const char* line;
    } rows[] = {
        {0, "    <severity>minor</severity>\n"},
        {1, "    <severity>major</severity>\n"},
        {2, "    <severity>critical</severity>\n"},
        {3, ""},
        {7, ""},
        {-1, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.severity);
        EXPECT_EQ(document("  <problem id=\"x\">\n    <message xml:lang=\"en-US\">m</message>\n" +
                           std::string(row.line) + "  </problem>\n"),
                  documentOf({"x", {"m", "en-US"}, static_cast<Severity>(row.severity)}));
    }
}

TEST(ReportDocument, LeavesAnEmptyMessageOutButNotTheSeverity) {
    EXPECT_EQ(document("  <problem id=\"x\">\n    <severity>major</severity>\n  </problem>\n"),
              documentOf({"x", {"", "de-DE"}, Severity::major}));
}

TEST(ReportDocument, OfAProblemWithNothingToSayIsAnEmptyElement) {
    EXPECT_EQ(document("  <problem id=\"x\"/>\n"), documentOf({"x", {}, static_cast<Severity>(7)}));
}

TEST(ReportDocument, SkipsProblemsAndActionsWithoutAnId) {
    ProblemModel model;
    model.addProblem({"", {"m", "en-US"}, Severity::critical, {{"", {"n", "en-US"}, ""}}, 0});
    model.setActionResult("", {0, "log"});
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n", reportDocument(model));
}

TEST(ReportDocument, OfAProblemWhoseOnlySolutionHasNoIdHasEmptySolutions) {
    EXPECT_EQ(document("  <problem id=\"x\">\n"
                       "    <severity>major</severity>\n"
                       "    <solutions/>\n"
                       "  </problem>\n"),
              documentOf({"x", {}, Severity::major, {{"", {"undefined", "en-US"}, ""}}, 0}));
}

/// The lines of a problem "x" with the solutions "b", one without an id, and "a".
std::string solutionsWithDefault(std::optional<std::size_t> position) {
    const Solution b = {"b", {}, ""};
    const Solution nameless = {"", {}, ""};
    const Solution a = {"a", {}, ""};
    return documentOf({"x", {}, static_cast<Severity>(7), {b, nameless, a}, position});
}

TEST(ReportDocument, ListsSolutionsInTheirOrderAndMarksTheDefaultAlone) {
    const struct {
        std::optional<std::size_t> position;
        const char* lines;
    } rows[] = {
        {std::nullopt, "      <action id=\"b\"/>\n      <action id=\"a\"/>\n"},
        {0, "      <action id=\"b\" default=\"true\"/>\n      <action id=\"a\"/>\n"},
        {1, "      <action id=\"b\"/>\n      <action id=\"a\"/>\n"},
        {2, "      <action id=\"b\"/>\n      <action id=\"a\" default=\"true\"/>\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.lines);
        EXPECT_EQ(document("  <problem id=\"x\">\n    <solutions>\n" + std::string(row.lines) +
                           "    </solutions>\n  </problem>\n"
                           "  <action id=\"a\"/>\n  <action id=\"b\"/>\n"),
                  solutionsWithDefault(row.position));
    }
}

TEST(ReportDocument, MarksOneOfTwoSolutionsOfTheSameId) {
    const Solution twin = {"a", {}, ""};
    EXPECT_EQ(document("  <problem id=\"x\">\n"
                       "    <solutions>\n"
                       "      <action id=\"a\"/>\n"
                       "      <action id=\"a\" default=\"true\"/>\n"
                       "    </solutions>\n"
                       "  </problem>\n"
                       "  <action id=\"a\"/>\n"),
              documentOf({"x", {}, static_cast<Severity>(7), {twin, twin}, 1}));
}

std::string documentOfResult(const ActionResult& result) {
    ProblemModel model;
    model.storeAction({"a", {}, "true"});
    model.setActionResult("a", result);
    return reportDocument(model);
}

TEST(ReportDocument, CallsEveryStatusButZeroAnError) {
    const struct {
        int status;
        const char* word;
    } rows[] = {{0, "ok"}, {1, "error"}, {255, "error"}, {-1, "error"}, {256, "error"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        EXPECT_EQ(document("  <action id=\"a\">\n    <status>" + std::string(row.word) +
                           "</status>\n    <log>text</log>\n  </action>\n"),
                  documentOfResult({row.status, "text"}));
    }
}

TEST(ReportDocument, ShowsAnEmptyLogAsAnEmptyElement) {
    EXPECT_EQ(document("  <action id=\"a\">\n    <status>ok</status>\n    <log/>\n  </action>\n"),
              documentOfResult({0, ""}));
}

TEST(ReportDocument, ShowsNoResultOfAnActionThatIsNotListed) {
    ProblemModel model;
    model.setActionResult("a", {0, "log"});
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n", reportDocument(model));
}

TEST(ReportDocument, ShowsNoCommands) {
    ProblemModel model;
    model.storeAction({"a", {}, "rm secret"});
    EXPECT_EQ(document("  <action id=\"a\"/>\n"), reportDocument(model));
}

TEST(ReportDocument, OrdersProblemsAndActionsByIdAndPutsProblemsFirst) {
    ProblemModel model;
    for (const char* id : {"upgrade", "service-down:named", "service-down:apache"}) {
        model.addProblem({id, {}, static_cast<Severity>(7), {{id, {}, ""}}});
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

/// A text, how it comes out as the content of an element, and how as the value of an attribute.
struct XmlRow {
    const char* fact;
    std::string text;
    std::string content;
    std::string value;
};

const XmlRow xmlRows[] = {
    {"angle brackets", "<b>x</b>", "&lt;b&gt;x&lt;/b&gt;", "&lt;b&gt;x&lt;/b&gt;"},
    {"quotes", "\"q\" 'a'", "\"q\" 'a'", "&quot;q&quot; 'a'"},
    {"a carriage return", "a\rb\r\n", "a&#13;b&#13;\n", "a&#13;b&#13;&#10;"},
    {"a newline and a tab", "a\nb\tc", "a\nb\tc", "a&#10;b&#9;c"},
    {"UTF-8", "läuft €", "läuft €", "läuft €"},
    {"the reference of the ampersand", "a &amp; b", "a &amp; b", "a &amp;amp; b"},
    {"the references of the brackets", "&lt;&gt;", "&lt;&gt;", "&amp;lt;&amp;gt;"},
    {"a character reference", "x&#10;y", "x\ny", "x&amp;#10;y"},
    {"a character reference in hex", "x&#xe4;y", "xäy", "x&amp;#xe4;y"},
    {"a reference to no entity", "a&unknown;b", "a&unknown;b", "a&amp;unknown;b"},
    {"an ampersand with a semicolon later", "a && b; c", "a & b; c", "a &amp;&amp; b; c"},
    {"the end of a CDATA section", "]]>", "]]&gt;", "]]&gt;"},
    {"nothing but a blank", " ", " ", " "},
};

TEST(ReportDocument, TakesElementTextsAsContentWithReferences) {
    for (const XmlRow& row : xmlRows) {
        SCOPED_TRACE(row.fact);
        EXPECT_EQ(document("  <problem id=\"x\">\n    <message xml:lang=\"en-US\">" + row.content +
                           "</message>\n  </problem>\n"),
                  documentOf({"x", {row.text, "en-US"}, static_cast<Severity>(7)}));
        EXPECT_EQ(document("  <action id=\"a\">\n    <status>ok</status>\n    <log>" + row.content +
                           "</log>\n  </action>\n"),
                  documentOfResult({0, row.text}));
    }
}

TEST(ReportDocument, EscapesAttributes) {
    for (const XmlRow& row : xmlRows) {
        SCOPED_TRACE(row.fact);
        ProblemModel model;
        const Solution solution = {row.text, {"m", row.text}, ""};
        model.addProblem({row.text, {"m", row.text}, Severity::minor, {solution}});
        EXPECT_EQ(document("  <problem id=\"" + row.value +
                           "\">\n"
                           "    <message xml:lang=\"" +
                           row.value +
                           "\">m</message>\n"
                           "    <severity>minor</severity>\n"
                           "    <solutions>\n"
                           "      <action id=\"" +
                           row.value +
                           "\"/>\n"
                           "    </solutions>\n"
                           "  </problem>\n"
                           "  <action id=\"" +
                           row.value +
                           "\">\n"
                           "    <message xml:lang=\"" +
                           row.value +
                           "\">m</message>\n"
                           "  </action>\n"),
                  reportDocument(model));
    }
}

// xmlNewChild gives up the whole content at an ampersand that begins no reference.
TEST(ReportDocument, OfATextWithABareAmpersandHasTheElementWithoutContent) {
    for (const char* text : {"a & b", "a &", "&", "cat file && true"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(
            document("  <problem id=\"x\">\n    <message xml:lang=\"en-US\"/>\n  </problem>\n"),
            documentOf({"x", {text, "en-US"}, static_cast<Severity>(7)}));
        EXPECT_EQ(
            document("  <action id=\"a\">\n    <status>ok</status>\n    <log/>\n  </action>\n"),
            documentOfResult({0, text}));
    }
}

TEST(ReportDocument, EscapesABareAmpersandInAnAttribute) {
    EXPECT_EQ(document("  <problem id=\"a &amp; b\"/>\n"),
              documentOf({"a & b", {}, static_cast<Severity>(7)}));
}

TEST(ReportDocument, ReplacesWhatXmlCannotCarryInEveryTextAndId) {
    const std::string text = "\x1B[1m l\xE4uft \xE2\x82 & \x01;";
    ProblemModel model;
    const Solution solution = {text, {text, text}, ""};
    model.addProblem({text, {text, text}, Severity::minor, {solution}, 0});
    model.setActionResult(text, {1, text});
    const std::string value = "\uFFFD[1m l\uFFFDuft \uFFFD &amp; \uFFFD;";
    const std::string content = "\uFFFD[1m l\uFFFDuft \uFFFD & \uFFFD;"; // the ampersand stays
    const std::string message =
        "    <message xml:lang=\"" + value + "\">" + content + "</message>\n";
    EXPECT_EQ(document("  <problem id=\"" + value + "\">\n" + message +
                       "    <severity>minor</severity>\n"
                       "    <solutions>\n      <action id=\"" +
                       value +
                       "\" default=\"true\"/>\n    </solutions>\n  </problem>\n"
                       "  <action id=\"" +
                       value + "\">\n" + message + "    <status>error</status>\n    <log>" +
                       content + "</log>\n  </action>\n"),
              reportDocument(model));
}

/// What a document says, in the model's terms.
struct ReadReport {
    std::map<std::string, Problem> problems;
    std::map<std::string, Message> actions;
    std::map<std::string, std::pair<std::string, std::string>> results; ///< status, log
};

std::string attribute(xmlNode* element, const char* name) {
    return fromXml(XmlText(xmlGetProp(element, toXml(name))).get());
}

std::string content(xmlNode* element) {
    return fromXml(XmlText(xmlNodeGetContent(element)).get());
}

/// The child elements of that name.
std::vector<xmlNode*> children(xmlNode* parent, const char* name) {
    std::vector<xmlNode*> found;
    for (xmlNode* child = xmlFirstElementChild(parent); child != nullptr;
         child = xmlNextElementSibling(child)) {
        if (xmlStrEqual(child->name, toXml(name)) != 0) {
            found.push_back(child);
        }
    }
    return found;
}

Message readMessage(xmlNode* parent) {
    const auto found = children(parent, "message");
    return found.empty() ? Message() : Message(content(found[0]), attribute(found[0], "lang"));
}

Problem readProblem(xmlNode* element) {
    Problem problem(attribute(element, "id"), readMessage(element), Severity::minor);
    const std::string severity = content(children(element, "severity").at(0));
    problem.severity = severity == "major"      ? Severity::major
                       : severity == "critical" ? Severity::critical
                                                : Severity::minor;
    for (xmlNode* const solutions : children(element, "solutions")) {
        for (xmlNode* const action : children(solutions, "action")) {
            if (attribute(action, "default") == "true") {
                problem.defaultSolution = problem.solutions.size();
            }
            problem.solutions.push_back({attribute(action, "id"), {}, ""});
        }
    }
    return problem;
}

ReadReport readReport(const std::string& text) {
    const XmlDocument document(xmlParseMemory(text.data(), static_cast<int>(text.size())));
    xmlNode* const root = xmlDocGetRootElement(document.get());
    ReadReport report;
    for (xmlNode* const element : children(root, "problem")) {
        report.problems[attribute(element, "id")] = readProblem(element);
    }
    for (xmlNode* const element : children(root, "action")) {
        const std::string id = attribute(element, "id");
        report.actions[id] = readMessage(element);
        if (!children(element, "status").empty()) {
            report.results[id] = {content(children(element, "status")[0]),
                                  content(children(element, "log").at(0))};
        }
    }
    return report;
}

/// A model whose texts XML can carry as they are, without the ampersand, which stands for a
/// reference.
class RandomModel {
public:
    ProblemModel next() {
        ProblemModel model;
        for (std::size_t i = random_.number(5); i > 0; --i) {
            model.addProblem(problem());
        }
        for (std::size_t i = random_.number(4); i > 0; --i) {
            const Solution action = solution();
            model.storeAction(action);
            model.setActionResult(action.id, {static_cast<int>(random_.number(3)) - 1, text(30)});
        }
        return model;
    }

private:
    std::string text(std::size_t longest) { return random_.text("ab <>\"'\t\n\r]\x7F", longest); }
    Message message() { return {text(12), random_.number(2) == 0 ? "de-DE" : "en-US"}; }
    Solution solution() { return {"r" + text(5), message(), "commands"}; }
    Problem problem() {
        Problem result("p" + text(5), message(), static_cast<Severity>(random_.number(3)));
        for (std::size_t i = random_.number(4); i > 0; --i) {
            result.solutions.push_back(solution());
        }
        if (!result.solutions.empty() && random_.number(2) == 0) {
            result.defaultSolution = random_.number(result.solutions.size());
        }
        return result;
    }

    test::RandomTexts random_;
};

void expectRead(const Problem& problem, const Problem& read) {
    EXPECT_EQ(problem.message.text, read.message.text);
    EXPECT_TRUE(problem.message.text.empty() || problem.message == read.message);
    EXPECT_EQ(problem.severity, read.severity);
    EXPECT_EQ(problem.defaultSolution, read.defaultSolution);
    EXPECT_TRUE(
        std::ranges::equal(problem.solutions, read.solutions, {}, &Solution::id, &Solution::id));
}

TEST(ReportDocument, ReadBackIsTheModel) {
    RandomModel models;
    for (int round = 0; round < 300; ++round) {
        const ProblemModel model = models.next();
        const ReadReport report = readReport(reportDocument(model));
        ASSERT_EQ(model.problems().size(), report.problems.size());
        for (const auto& [id, problem] : model.problems()) {
            ASSERT_TRUE(report.problems.contains(id)) << id;
            expectRead(problem, report.problems.at(id));
        }
        ASSERT_EQ(model.actions().size(), report.actions.size());
        for (const auto& [id, action] : model.actions()) {
            ASSERT_TRUE(report.actions.contains(id)) << id;
            EXPECT_EQ(action.message.text, report.actions.at(id).text);
        }
        ASSERT_EQ(model.actionResults().size(), report.results.size());
        for (const auto& [id, result] : model.actionResults()) {
            ASSERT_TRUE(report.results.contains(id)) << id;
            const std::pair<std::string, std::string> expected = {
                result.status == 0 ? "ok" : "error", result.log};
            EXPECT_EQ(expected, report.results.at(id));
        }
        ASSERT_FALSE(HasFailure()) << reportDocument(model);
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

/// The run's own model with one problem in it, and write() answered by the test.
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

TEST_F(PrintReport, WritesTheDocumentOfTheRunsModelAtOnce) {
    writeAnswers = {everything, -EIO};
    printReport();
    EXPECT_EQ(reportDocument(problemModel), written);
    EXPECT_EQ(1U, writeAnswers.size());
}

TEST_F(PrintReport, IsWrittenAlsoWhenThereIsNothingToReport) {
    problemModel = ProblemModel();
    writeAnswers = {everything};
    printReport();
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n", written);
}

TEST_F(PrintReport, ContinuesShortAndInterruptedWrites) {
    writeAnswers = {1, -EINTR, 7, -EINTR, -EINTR, 20, everything};
    printReport();
    EXPECT_EQ(reportDocument(problemModel), written);
    EXPECT_TRUE(writeAnswers.empty());
}

TEST_F(PrintReport, WaitsForRoomInAPipeThatDoesNotBlock) {
    writeAnswers = {10, -EAGAIN, 5, -EAGAIN, -EAGAIN, everything};
    pollAnswers = {0, EINTR, 0};
    printReport();
    EXPECT_EQ(reportDocument(problemModel), written);
    EXPECT_TRUE(writeAnswers.empty());
    EXPECT_TRUE(pollAnswers.empty());
}

TEST_F(PrintReport, EndsWhereThereIsNoWaitingForRoom) {
    writeAnswers = {10, -EAGAIN, everything};
    pollAnswers = {ENOMEM};
    printReport();
    EXPECT_EQ(reportDocument(problemModel).substr(0, 10), written);
    EXPECT_EQ(1U, writeAnswers.size());
}

TEST_F(PrintReport, KeepsWhatWasWrittenWhenWritingFails) {
    writeAnswers = {10, -EIO, everything};
    printReport();
    EXPECT_EQ(reportDocument(problemModel).substr(0, 10), written);
    EXPECT_EQ(1U, writeAnswers.size());
}

TEST_F(PrintReport, ThrowsAndWritesNothingWhereTheDocumentCannotBeSerialised) {
    writeAnswers = {everything};
    serialisingFails = true;
    EXPECT_THAT(printReport,
                testing::ThrowsMessage<std::runtime_error>("the report cannot be serialised"));
    serialisingFails = false;
    EXPECT_EQ("", written);
}

TEST_F(PrintReport, EndsWhereNothingIsTakenAnyMore) {
    writeAnswers = {10, -EINTR, 0, everything};
    printReport();
    EXPECT_EQ(reportDocument(problemModel).substr(0, 10), written);
    EXPECT_EQ(1U, writeAnswers.size());
}

} // namespace
} // namespace keldo
