// SPDX-License-Identifier: MIT

#include "report/report_writer.h"

#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/texts.h"
#include "support/xml_text.h"
#include "xml/handles.h"

#include <libxml/parser.h>
#include <map>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

/// An element of the model or of the report that was read back.
struct Element {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text; ///< empty if there are children
    std::vector<Element> children;
};

// The model: the elements that a report must have.

void addMessage(const Message& message, Element& parent) {
    if (!message.text.empty()) {
        parent.children.push_back(
            {"message", {{"xml:lang", validText(message.lang)}}, textOfContent(message.text), {}});
    }
}

Element solutionsOf(const Problem& problem) {
    Element solutions = {"solutions", {}, "", {}};
    for (std::size_t i = 0; i < problem.solutions.size(); ++i) {
        if (problem.solutions[i].id.empty()) {
            continue;
        }
        Element reference = {"action", {{"id", validText(problem.solutions[i].id)}}, "", {}};
        if (problem.defaultSolution == i) {
            reference.attributes["default"] = "true";
        }
        solutions.children.push_back(reference);
    }
    return solutions;
}

Element elementOf(const Problem& problem) {
    const std::map<int, std::string> severities = {{0, "minor"}, {1, "major"}, {2, "critical"}};
    Element element = {"problem", {{"id", validText(problem.id)}}, "", {}};
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
    Element element = {"action", {{"id", validText(action.id)}}, "", {}};
    addMessage(action.message, element);
    const auto result = results.find(action.id);
    if (result != results.end()) {
        element.children.push_back({"status", {}, result->second.status == 0 ? "ok" : "error", {}});
        element.children.push_back({"log", {}, textOfContent(result->second.log), {}});
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

// The input.

/// Makes the report's content from a word of letters. Each letter takes its texts from those that
/// follow the word:
///
///     P  a problem: id, message, language     p  a problem of unknown severity
///     S  a solution of the last problem: id, message, language     D  its default solution
///     A  an action: id, message, language
///     R  a result: id of the action, log      r  a failure: id of the action, log
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
        model_.setActionResult(id, {status, texts_.next()});
    }

    Message nextMessage() {
        const std::string text = texts_.next();
        return {text, texts_.next()};
    }

    Texts& texts_;
    ProblemModel model_;
    Problem problem_;
    int problems_ = 0;
};

std::string nameOf(const xmlAttr* attribute) {
    const std::string name = fromXml(attribute->name);
    return attribute->ns != nullptr ? fromXml(attribute->ns->prefix) + ":" + name : name;
}

/// An element and its descendants, without the blanks between elements.
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
    Texts texts(input);
    const ProblemModel model = ModelMaker(texts).make();
    const std::string report = reportDocument(model);
    const XmlDocument document(xmlParseMemory(report.data(), static_cast<int>(report.size())));
    require(document != nullptr, "a report is well-formed");
    requireSame(rootOf(model), readBack(xmlDocGetRootElement(document.get())));
}

} // namespace keldo::test
