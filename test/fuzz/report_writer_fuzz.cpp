// SPDX-License-Identifier: MIT

#include "report/report_writer.h"

#include "support/carriable_text.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/quiet_libxml2.h"
#include "support/texts.h"
#include "xml/handles.h"

#include <libxml/parser.h>
#include <map>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

/// An element, in the model and as it is read back.
struct Element {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text; ///< of one without children
    std::vector<Element> children;
};

// The model: the elements that a report has.

/// The text with each occurrence of a part replaced.
std::string replaced(const std::string& text, const std::string& part, const std::string& by) {
    std::string result;
    std::size_t start = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, start)) {
        result += text.substr(start, at - start) + by;
        start = at + part.size();
    }
    return result + text.substr(start);
}

/// An element's text as it is read back: a reference in it is one.
std::string elementText(const std::string& text) {
    return replaced(carriableText(text), "&amp;", "&");
}

void addMessage(const Message& message, Element& parent) {
    if (!message.text.empty()) {
        parent.children.push_back({"message",
                                   {{"xml:lang", carriableText(message.lang)}},
                                   elementText(message.text),
                                   {}});
    }
}

Element solutionsOf(const Problem& problem) {
    Element solutions = {"solutions", {}, "", {}};
    for (std::size_t i = 0; i < problem.solutions.size(); ++i) {
        if (problem.solutions[i].id.empty()) {
            continue;
        }
        Element reference = {"action", {{"id", carriableText(problem.solutions[i].id)}}, "", {}};
        if (problem.defaultSolution == i) {
            reference.attributes["default"] = "true";
        }
        solutions.children.push_back(reference);
    }
    return solutions;
}

Element elementOf(const Problem& problem) {
    const std::map<int, std::string> severities = {{0, "minor"}, {1, "major"}, {2, "critical"}};
    Element element = {"problem", {{"id", carriableText(problem.id)}}, "", {}};
    addMessage(problem.message, element);
    const auto severity = severities.find(static_cast<int>(problem.severity));
    if (severity != severities.end()) {
        element.children.push_back({"severity", {}, severity->second, {}});
    }
    if (!problem.solutions.empty()) {
        element.children.push_back(solutionsOf(problem));
    }
    return element;
}

Element elementOf(const Solution& action, const ActionResults& results) {
    Element element = {"action", {{"id", carriableText(action.id)}}, "", {}};
    addMessage(action.message, element);
    const auto result = results.find(action.id);
    if (result != results.end()) {
        element.children.push_back({"status", {}, result->second.status == 0 ? "ok" : "error", {}});
        element.children.push_back({"log", {}, elementText(result->second.log), {}});
    }
    return element;
}

Element rootOf(const ProblemModel& model) {
    Element root = {"keldoctl", {}, "", {}};
    for (const auto& [id, problem] : model.problems()) {
        if (!id.empty()) {
            root.children.push_back(elementOf(problem));
        }
    }
    for (const auto& [id, action] : model.actions()) {
        if (!id.empty()) {
            root.children.push_back(elementOf(action, model.actionResults()));
        }
    }
    return root;
}

// What is tried.

/// The report's content by a word of letters, each with texts of its own, the next ones:
///
///     P  a problem: id, message, language     p  the same, in an unknown severity
///     S  a solution of the last problem: id, message, language     D  the same, the default one
///     A  an action: id, message, language
///     R  a result: id of the action, log      r  the same, of one that failed
class ModelMaker {
public:
    explicit ModelMaker(Texts& texts) : texts_(texts) {}

    ProblemModel make() {
        for (const char letter : texts_.next()) {
            obey(letter);
        }
        fileProblem();
        return model_;
    }

    /// Whether an element's text has an ampersand that does not stand for one by "&amp;".
    bool hasBareAmpersand() const { return hasBareAmpersand_; }

private:
    void obey(char letter) {
        switch (letter) {
        case 'P':
            startProblem(static_cast<Severity>(problems_++ % 3));
            break;
        case 'p':
            startProblem(static_cast<Severity>(-1));
            break;
        case 'S':
            problem_.solutions.push_back(nextSolution());
            break;
        case 'D':
            problem_.addDefaultSolution(nextSolution());
            break;
        case 'A':
            model_.storeAction(nextSolution());
            break;
        case 'R':
            addResult(0);
            break;
        case 'r':
            addResult(-1);
            break;
        default:
            break;
        }
    }

    void startProblem(Severity severity) {
        fileProblem();
        problem_ = Problem();
        problem_.severity = severity;
        problem_.id = texts_.next();
        problem_.message = nextMessage();
    }

    void fileProblem() { model_.addProblem(problem_); }

    Solution nextSolution() {
        const std::string id = texts_.next();
        return {id, nextMessage(), "a command"};
    }

    void addResult(int status) {
        const std::string id = texts_.next();
        model_.setActionResult(id, {status, nextContent()});
    }

    Message nextMessage() {
        const std::string text = nextContent();
        return {text, texts_.next()};
    }

    std::string nextContent() {
        std::string text = texts_.next();
        if (replaced(text, "&amp;", "").find('&') != std::string::npos) {
            hasBareAmpersand_ = true;
        }
        return text;
    }

    Texts& texts_;
    ProblemModel model_;
    Problem problem_;
    int problems_ = 0;
    bool hasBareAmpersand_ = false;
};

XmlDocument parsed(const std::string& report, int options) {
    return XmlDocument(
        xmlReadMemory(report.data(), static_cast<int>(report.size()), nullptr, nullptr, options));
}

std::string nameOf(const xmlAttr* attribute) {
    const std::string name = fromXml(attribute->name);
    return attribute->ns != nullptr ? fromXml(attribute->ns->prefix) + ":" + name : name;
}

/// An element and what is below it, without the blanks between elements.
Element readBack(xmlNode* node) {
    Element element = {fromXml(node->name), {}, "", {}};
    for (const xmlAttr* attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
        const XmlText value(xmlNodeListGetString(node->doc, attribute->children, 1));
        element.attributes[nameOf(attribute)] = fromXml(value.get());
    }
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            element.children.push_back(readBack(child));
        }
    }
    if (element.children.empty()) {
        element.text = fromXml(XmlText(xmlNodeGetContent(node)).get());
    }
    return element;
}

void requireSame(const Element& expected, const Element& actual) {
    requireEqual(expected.name, actual.name, "name of an element");
    requireEqual(expected.text, actual.text, "text of " + expected.name);
    require(expected.attributes.size() == actual.attributes.size(), "number of attributes");
    for (const auto& [name, value] : expected.attributes) {
        require(actual.attributes.contains(name), "each attribute is there");
        requireEqual(value, actual.attributes.at(name), "attribute of " + expected.name);
    }
    require(expected.children.size() == actual.children.size(), "number of children");
    for (std::size_t i = 0; i < expected.children.size(); ++i) {
        requireSame(expected.children[i], actual.children[i]);
    }
}

} // namespace

void tryInput(const std::string& input) {
    silenceLibxml2();
    Texts texts(input);
    ModelMaker maker(texts);
    const ProblemModel model = maker.make();
    const std::string report = reportDocument(model);
    const XmlDocument document = parsed(report, 0);
    if (maker.hasBareAmpersand()) { // which libxml2 takes for the start of a reference
        require(parsed(report, XML_PARSE_RECOVER) != nullptr, "a report can be recovered");
        return;
    }
    require(document != nullptr, "a report is well-formed");
    requireSame(rootOf(model), readBack(xmlDocGetRootElement(document.get())));
}

} // namespace keldo::test
