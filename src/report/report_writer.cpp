#include "report/report_writer.h"

#include "report/xml_handles.h"

#include <cerrno>
#include <string_view>
#include <unistd.h>

namespace keldo {

namespace {

/// Appends a child; one that could not be made is null, as is a child of a parent that is null.
xmlNode* addElement(xmlNode* parent, const char* name) {
    return xmlNewChild(parent, nullptr, toXml(name), nullptr);
}

xmlNode* addElement(xmlNode* parent, const char* name, const std::string& content) {
    return xmlNewChild(parent, nullptr, toXml(name), toXml(content));
}

void addAttribute(xmlNode* element, const char* name, const std::string& value) {
    if (element != nullptr) {
        xmlNewProp(element, toXml(name), toXml(value));
    }
}

void addMessageElement(const Message& message, xmlNode* parent) {
    if (message.text.empty()) {
        return;
    }
    xmlNode* const element = addElement(parent, "message", message.text);
    addAttribute(element, "xml:lang", message.lang);
}

void addSeverityElement(Severity severity, xmlNode* parent) {
    switch (severity) {
    case Severity::minor:
        addElement(parent, "severity", "minor");
        break;
    case Severity::major:
        addElement(parent, "severity", "major");
        break;
    case Severity::critical:
        addElement(parent, "severity", "critical");
        break;
    }
}

void addSolutionRef(const Solution& solution, xmlNode* parent, bool isDefault) {
    if (solution.id.empty()) {
        return;
    }
    xmlNode* const element = addElement(parent, "action");
    addAttribute(element, "id", solution.id);
    if (isDefault) {
        addAttribute(element, "default", "true");
    }
}

void addSolutionsElement(const Problem& problem, xmlNode* parent) {
    if (problem.solutions.empty()) {
        return;
    }
    xmlNode* const element = addElement(parent, "solutions");
    for (std::size_t i = 0; i < problem.solutions.size(); ++i) {
        addSolutionRef(problem.solutions[i], element, problem.defaultSolution == i);
    }
}

void addProblemElement(const Problem& problem, xmlDoc* document) {
    xmlNode* const root = xmlDocGetRootElement(document);
    if (problem.id.empty() || root == nullptr) {
        return;
    }
    xmlNode* const element = addElement(root, "problem");
    addAttribute(element, "id", problem.id);
    addMessageElement(problem.message, element);
    addSeverityElement(problem.severity, element);
    addSolutionsElement(problem, element);
}

xmlNode* addActionElement(const Solution& action, xmlDoc* document) {
    xmlNode* const root = xmlDocGetRootElement(document);
    if (action.id.empty() || root == nullptr) {
        return nullptr;
    }
    xmlNode* const element = addElement(root, "action");
    addAttribute(element, "id", action.id);
    addMessageElement(action.message, element);
    return element;
}

void addActionStatus(xmlNode* element, const ActionResult& result) {
    addElement(element, "status", result.status != 0 ? "error" : "ok");
    addElement(element, "log", result.log);
}

XmlDocument makeDocument(const ProblemModel& model) {
    XmlDocument document(xmlNewDoc(toXml("1.0")));
    xmlDocSetRootElement(document.get(),
                         xmlNewDocNode(document.get(), nullptr, toXml("keldoctl"), nullptr));
    for (const auto& [id, problem] : model.problems()) {
        addProblemElement(problem, document.get());
    }
    for (const auto& [id, action] : model.actions()) {
        xmlNode* const element = addActionElement(action, document.get());
        const auto result = model.actionResults().find(id);
        if (result != model.actionResults().end()) {
            addActionStatus(element, result->second);
        }
    }
    return document;
}

void writeToStdout(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return;
        }
    }
}

} // namespace

std::string reportDocument(const ProblemModel& model) {
    xmlCheckVersion(oldestLibxml2);
    const XmlDocument document = makeDocument(model);
    xmlChar* buffer = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document.get(), &buffer, &size, "UTF-8", 1);
    const XmlText text(buffer);
    return fromXml(text.get());
}

void printReport() {
    writeToStdout(reportDocument(problemModel));
}

} // namespace keldo
