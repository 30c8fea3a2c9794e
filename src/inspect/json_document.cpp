// SPDX-License-Identifier: MIT

#include "exec/program_version.h"
#include "inspect/document.h"
#include "inspect/names.h"
#include "inspect/report_tree.h"
#include "inspect/summary.h"
#include "report/problem_model.h"
#include "xml/characters.h"

#include <nlohmann/json.hpp>

namespace keldo::inspect {

namespace {

using Json = nlohmann::ordered_json;

/// The text in valid UTF-8, the same as in the XML document.
std::string valid(const std::string& text) {
    return replaceInvalidXml(text).value_or(text);
}

double secondsNumber(Clock::duration duration) {
    return static_cast<double>(inMilliseconds(duration).count()) / 1000;
}

Json jsonOf(const Message& message) {
    return {{"text", valid(message.text)}, {"lang", valid(message.lang)}};
}

void addReason(Json& object, const Reason& reason) {
    if (!reason.code.empty()) {
        object["reason"] = {
            {"code", reason.code}, {"text", valid(reason.text.text)}, {"lang", reason.text.lang}};
    }
}

void addDetail(Json& object, const std::string& words) {
    if (!words.empty()) {
        object["detail"] = detailText(words);
    }
}

Json jsonOf(const Dependency& dependency) {
    Json object = {{"id", dependency.id}, {"state", nameOf(dependency.state)}};
    if (!dependency.path.empty()) {
        object["path"] = valid(dependency.path);
    }
    addReason(object, dependency.reason);
    addDetail(object, dependency.detail);
    return object;
}

Json jsonOf(const Test& test) {
    Json object = {{"kind", nameOf(test.kind)}};
    if (!test.path.empty()) {
        object["path"] = valid(test.path);
    }
    if (test.kind == TestKind::port) {
        object["number"] = test.number;
        object["type"] = test.type;
        if (!test.protocol.empty()) {
            object["protocol"] = valid(test.protocol);
        }
    }
    object["state"] = nameOf(test.state);
    return object;
}

Json jsonOf(const InspectedService& service) {
    const Judgement& judgement = service.judgement;
    Json object;
    object["id"] = valid(service.id);
    object["origin"] = nameOf(service.origin);
    object["state"] = nameOf(judgement.state);
    object["seconds"] = secondsNumber(judgement.duration);
    object["title"] = jsonOf(service.title);
    addReason(object, judgement.reason);
    addDetail(object, judgement.detail);
    object["tests"] = Json::array();
    for (const Test& test : judgement.tests) {
        object["tests"].push_back(jsonOf(test));
    }
    return object;
}

std::string textOf(const xmlNode* node) {
    return fromXml(XmlText(xmlNodeGetContent(node)).get());
}

Json attributesOf(const xmlNode* element) {
    Json object = Json::object();
    for (const xmlAttr* attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        const std::string name = fromXml(attribute->name);
        if (name == "default") {
            object[name] = true;
        } else {
            object[name] = textOf(reinterpret_cast<const xmlNode*>(attribute));
        }
    }
    return object;
}

Json solutionsOf(const xmlNode* element) {
    Json list = Json::array();
    for (const xmlNode* action = element->children; action != nullptr; action = action->next) {
        list.push_back(attributesOf(action));
    }
    return list;
}

/// A problem or an action of the report: its attributes first, then its elements as texts. The
/// message is an object with its language, and the solutions are a list.
Json jsonOf(const xmlNode* element) {
    Json object = attributesOf(element);
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        const std::string name = fromXml(child->name);
        if (name == "message") {
            object[name] = {{"text", textOf(child)}};
            object[name].update(attributesOf(child));
        } else if (name == "solutions") {
            object[name] = solutionsOf(child);
        } else {
            object[name] = textOf(child);
        }
    }
    return object;
}

/// The elements of that name in the report.
Json elementsOf(const ReportTree& report, const char* name) {
    Json list = Json::array();
    for (const xmlNode* node = report.root()->children; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE && fromXml(node->name) == name) {
            list.push_back(jsonOf(node));
        }
    }
    return list;
}

template <typename Element> Json listOf(const std::vector<Element>& elements) {
    Json list = Json::array();
    for (const Element& element : elements) {
        list.push_back(jsonOf(element));
    }
    return list;
}

Json summaryJson(const Inspection& inspection) {
    const Counts counts = countsOf(inspection.services);
    Json object = {{"services", counts.services}, {"up", counts.up},
                   {"down", counts.down},         {"unknown", counts.unknown},
                   {"stopped", counts.stopped},   {"unchecked", counts.unchecked},
                   {"sentences", Json::array()}};
    for (const Reason& sentence : summaryOf(inspection)) {
        object["sentences"].push_back({{"code", sentence.code},
                                       {"text", valid(sentence.text.text)},
                                       {"lang", sentence.text.lang}});
    }
    return object;
}

} // namespace

std::string jsonDocument(const Inspection& inspection) {
    const ReportTree report = reportTree();
    Json object;
    object["version"] = formatVersion;
    object["program"] = programVersion;
    object["host"] = valid(inspection.host);
    object["started"] = timeText(inspection.started);
    object["seconds"] = secondsNumber(inspection.duration);
    object["lang"] = currentLanguage;
    object["verdict"] = nameOf(inspection.verdict);
    object["summary"] = summaryJson(inspection);
    object["dependencies"] = listOf(inspection.dependencies);
    object["services"] = listOf(inspection.services);
    object["problems"] = elementsOf(report, "problem");
    object["actions"] = elementsOf(report, "action");
    constexpr int indentation = 2;
    return object.dump(indentation) + "\n";
}

} // namespace keldo::inspect
