// SPDX-License-Identifier: MIT

#include "report/report_writer.h"

#include "report/element_content.h"
#include "xml/characters.h"
#include "xml/handles.h"

#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace keldo {

namespace {

/// `content` is a result of elementContent(), a text without ampersands, or null for no content.
xmlNode* addElement(xmlNode* parent, const char* name, const char* content = nullptr) {
    return xmlNewChild(parent, nullptr, toXml(name), toXml(content));
}

xmlNode* addTextElement(xmlNode* parent, const char* name, const std::string& text) {
    return addElement(parent, name, elementContent(text).c_str());
}

void addAttribute(xmlNode* element, const char* name, const std::string& value) {
    const std::optional<std::string> replaced = replaceInvalidXml(value);
    xmlNewProp(element, toXml(name), toXml(replaced ? *replaced : value));
}

void addMessageElement(const Message& message, xmlNode* parent) {
    if (message.text.empty()) {
        return;
    }
    xmlNode* const element = addTextElement(parent, "message", message.text);
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
    if (problem.id.empty()) {
        return;
    }
    xmlNode* const element = addElement(xmlDocGetRootElement(document), "problem");
    addAttribute(element, "id", problem.id);
    addMessageElement(problem.message, element);
    addSeverityElement(problem.severity, element);
    addSolutionsElement(problem, element);
}

/// Returns the new element, or null for an action without an id.
xmlNode* addActionElement(const Solution& action, xmlDoc* document) {
    if (action.id.empty()) {
        return nullptr;
    }
    xmlNode* const element = addElement(xmlDocGetRootElement(document), "action");
    addAttribute(element, "id", action.id);
    addMessageElement(action.message, element);
    return element;
}

void addActionStatus(xmlNode* element, const ActionResult& result) {
    addElement(element, "status", result.status != 0 ? "error" : "ok");
    addTextElement(element, "log", result.log);
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
        if (element != nullptr && result != model.actionResults().end()) {
            addActionStatus(element, result->second);
        }
    }
    return document;
}

/// Returns whether to repeat a failed write to standard output. True if a signal interrupted it.
/// Also true if a non-blocking pipe is full; then waits until it has room.
bool mayWriteAgain() {
    if (errno == EAGAIN) {
        pollfd stream = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
        return poll(&stream, 1, -1) != -1 || errno == EINTR;
    }
    return errno == EINTR;
}

/// Returns the report's text. Frees the document, so that it takes no memory while a slow reader
/// blocks the output.
XmlText serialise(const ProblemModel& model) {
    xmlCheckVersion(oldestLibxml2);
    const XmlDocument document = makeDocument(model);
    xmlChar* buffer = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document.get(), &buffer, &size, "UTF-8", 1);
    if (buffer == nullptr) {
        throw std::runtime_error("the report cannot be serialised");
    }
    return XmlText(buffer);
}

} // namespace

bool writeToStdout(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || !mayWriteAgain()) {
            return false;
        }
    }
    return true;
}

std::string reportDocument(const ProblemModel& model) {
    return fromXml(serialise(model).get());
}

void printReport() {
    const XmlText text = serialise(problemModel);
    writeToStdout(viewXml(text.get()));
}

} // namespace keldo
