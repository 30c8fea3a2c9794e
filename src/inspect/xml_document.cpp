// SPDX-License-Identifier: MIT

#include "exec/program_version.h"
#include "inspect/document.h"
#include "inspect/names.h"
#include "inspect/report_tree.h"
#include "inspect/summary.h"
#include "report/problem_model.h"
#include "xml/characters.h"
#include "xml/handles.h"

#include <libxml/tree.h>
#include <stdexcept>

namespace keldo::inspect {

namespace {

void addAttribute(xmlNode* element, const char* name, const std::string& value) {
    xmlNewProp(element, toXml(name), toXml(replaceInvalidXml(value).value_or(value)));
}

/// Adds an element; markup characters in its text are escaped.
xmlNode* addElement(xmlNode* parent, const char* name, const std::string& text = "") {
    const std::string valid = replaceInvalidXml(text).value_or(text);
    return xmlNewTextChild(parent, nullptr, toXml(name), text.empty() ? nullptr : toXml(valid));
}

void addReason(xmlNode* parent, const Reason& reason) {
    if (!reason.code.empty()) {
        xmlNode* const element = addElement(parent, "reason", reason.text.text);
        addAttribute(element, "code", reason.code);
        addAttribute(element, "xml:lang", reason.text.lang);
    }
}

void addDetail(xmlNode* parent, const std::string& words) {
    if (!words.empty()) {
        addElement(parent, "detail", detailText(words));
    }
}

void addDependency(xmlNode* parent, const Dependency& dependency) {
    xmlNode* const element = addElement(parent, "dependency");
    addAttribute(element, "id", dependency.id);
    addAttribute(element, "state", nameOf(dependency.state));
    if (!dependency.path.empty()) {
        addAttribute(element, "path", dependency.path);
    }
    addReason(element, dependency.reason);
    addDetail(element, dependency.detail);
}

void addTest(xmlNode* parent, const Test& test) {
    xmlNode* const element = addElement(parent, nameOf(test.kind));
    if (!test.path.empty()) {
        addAttribute(element, "path", test.path);
    }
    if (test.kind == TestKind::port) {
        addAttribute(element, "number", std::to_string(test.number));
        addAttribute(element, "type", test.type);
        if (!test.protocol.empty()) {
            addAttribute(element, "protocol", test.protocol);
        }
    }
    addAttribute(element, "state", nameOf(test.state));
}

void addService(xmlNode* parent, const InspectedService& service) {
    const Judgement& judgement = service.judgement;
    xmlNode* const element = addElement(parent, "service");
    addAttribute(element, "id", service.id);
    addAttribute(element, "origin", nameOf(service.origin));
    addAttribute(element, "state", nameOf(judgement.state));
    addAttribute(element, "seconds", secondsText(inMilliseconds(judgement.duration)));
    xmlNode* const title = addElement(element, "title", service.title.text);
    addAttribute(title, "xml:lang", service.title.lang);
    addReason(element, judgement.reason);
    addDetail(element, judgement.detail);
    xmlNode* const tests = addElement(element, "tests");
    for (const Test& test : judgement.tests) {
        addTest(tests, test);
    }
}

/// Adds the counts and the sentences about them.
void addSummary(xmlNode* parent, const Inspection& inspection) {
    const Counts counts = countsOf(inspection.services);
    xmlNode* const element = addElement(parent, "summary");
    addAttribute(element, "services", std::to_string(counts.services));
    addAttribute(element, "up", std::to_string(counts.up));
    addAttribute(element, "down", std::to_string(counts.down));
    addAttribute(element, "unknown", std::to_string(counts.unknown));
    addAttribute(element, "stopped", std::to_string(counts.stopped));
    addAttribute(element, "unchecked", std::to_string(counts.unchecked));
    for (const Reason& sentence : summaryOf(inspection)) {
        xmlNode* const text = addElement(element, "sentence", sentence.text.text);
        addAttribute(text, "code", sentence.code);
        addAttribute(text, "xml:lang", sentence.text.lang);
    }
}

} // namespace

std::string xmlDocument(const Inspection& inspection) {
    const ReportTree report = reportTree();
    const XmlDocument document(xmlNewDoc(toXml("1.0")));
    xmlNode* const root = xmlNewDocNode(document.get(), nullptr, toXml("inspection"), nullptr);
    xmlDocSetRootElement(document.get(), root);
    addAttribute(root, "version", std::to_string(formatVersion));
    addAttribute(root, "program", programVersion);
    addAttribute(root, "host", inspection.host);
    addAttribute(root, "started", timeText(inspection.started));
    addAttribute(root, "seconds", secondsText(inMilliseconds(inspection.duration)));
    addAttribute(root, "xml:lang", currentLanguage);
    addAttribute(root, "verdict", nameOf(inspection.verdict));
    addSummary(root, inspection);
    xmlNode* const dependencies = addElement(root, "dependencies");
    for (const Dependency& dependency : inspection.dependencies) {
        addDependency(dependencies, dependency);
    }
    xmlNode* const services = addElement(root, "services");
    for (const InspectedService& service : inspection.services) {
        addService(services, service);
    }
    xmlAddChild(root, xmlDocCopyNode(report.root(), document.get(), 1));
    xmlChar* buffer = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document.get(), &buffer, &size, "UTF-8", 1);
    const XmlText text(buffer);
    if (!text) {
        throw std::runtime_error("the document cannot be serialised");
    }
    return fromXml(text.get());
}

} // namespace keldo::inspect
