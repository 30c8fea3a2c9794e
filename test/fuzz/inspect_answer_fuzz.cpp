// SPDX-License-Identifier: MIT

#include "inspect/answer.h"

#include "inspect/document.h"
#include "inspect/judgement.h"
#include "support/decimal.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/quiet_libxml2.h"
#include "support/texts.h"
#include "xml/handles.h"

#include <libxml/parser.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

using namespace keldo::inspect;

// The model: does the answer let the service count as up?

std::vector<xmlNode*> childrenOf(const xmlNode* parent, const std::string& name) {
    std::vector<xmlNode*> found;
    for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && child->ns == nullptr &&
            fromXml(child->name) == name) {
            found.push_back(child);
        }
    }
    return found;
}

/// The text of the only such child; nothing if there is none, or more than one.
std::optional<std::string> onlyText(const xmlNode* parent, const std::string& name) {
    const std::vector<xmlNode*> found = childrenOf(parent, name);
    return found.size() != 1
               ? std::nullopt
               : std::optional(fromXml(XmlText(xmlNodeGetContent(found.front())).get()));
}

/// The element of the service, if there is exactly one.
const xmlNode* elementOf(const std::string& id, const xmlNode* root) {
    const xmlNode* found = nullptr;
    for (const xmlNode* const service : childrenOf(root, "service")) {
        if (onlyText(service, "name").value_or("") == id) {
            if (found != nullptr) {
                return nullptr;
            }
            found = service;
        }
    }
    return found;
}

/// unlessATestFailed: the answer has results of ports or sockets, which may say that a test failed.
enum class Up { no, unlessATestFailed, yes };

Up upIn(const std::string& id, const std::string& output) {
    const XmlDocument document(xmlParseMemory(output.data(), static_cast<int>(output.size())));
    const xmlNode* const root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    const xmlNode* const service = root != nullptr ? elementOf(id, root) : nullptr;
    if (service == nullptr || onlyText(service, "monitor") != "1" ||
        decimal(onlyText(service, "status").value_or("")) != 0) {
        return Up::no;
    }
    return childrenOf(service, "port").empty() && childrenOf(service, "unix").empty()
               ? Up::yes
               : Up::unlessATestFailed;
}

/// A service with a process alone: it is up if the monitor says so.
ServiceDefinition processNamed(const std::string& id) {
    ServiceDefinition definition;
    definition.id = id;
    definition.pidFile = "/nonexistent/pid";
    return definition;
}

/// The same with ports and a socket.
ServiceDefinition withPorts(ServiceDefinition definition) {
    definition.unixSockets = {{"/nonexistent/socket", ""}};
    definition.ports = {
        {PortType::TCP, 1, "http"}, {PortType::UDP, 2, ""}, {PortType::TCPSSL, 3, ""}};
    return definition;
}

/// A service whose only test proves nothing.
ServiceDefinition silentPort(const std::string& id) {
    ServiceDefinition definition;
    definition.id = id;
    definition.ports = {{PortType::UDP, 2, ""}};
    return definition;
}

void requireValidDocuments(std::vector<InspectedService> services) {
    Inspection inspection;
    inspection.services = std::move(services);
    const std::string xml = xmlDocument(inspection);
    const XmlDocument document(xmlParseMemory(xml.data(), static_cast<int>(xml.size())));
    require(document != nullptr, "the XML document is well-formed");
    const auto json = nlohmann::json::parse(jsonDocument(inspection), nullptr, false);
    require(!json.is_discarded(), "the JSON document is valid");
    for (std::size_t i = 0; i < inspection.services.size(); ++i) {
        const auto detail = json["services"][i].value("detail", "");
        require(json["services"][i]["seconds"] >= 0, "no time is negative");
        require(detail.size() <= 4096, "a detail has at most 4 KiB");
    }
}

} // namespace

/// The input is the id of a service and the output of the monitor.
void tryInput(const std::string& input) {
    silenceLibxml2();
    Texts texts(input);
    const std::string id = texts.next();
    const std::string output = texts.next();
    const std::optional<Answer> answer = readAnswer(output);
    if (!answer) {
        return;
    }
    const ServiceDefinition process = processNamed(id);
    const Up model = upIn(id, output);
    std::vector<InspectedService> services;
    for (const ServiceDefinition& definition : {process, withPorts(process), silentPort(id)}) {
        InspectedService& service = services.emplace_back();
        service.id = id;
        service.judgement = judge(definition, *answer, {});
        require(model != Up::no || service.judgement.state != State::up,
                "only a monitored service of status 0 that is named once is up");
    }
    require(model != Up::yes || services[0].judgement.state == State::up,
            "a process that the monitor calls well is up");
    require(services[2].judgement.state != State::up, "a silent port proves nothing");
    requireValidDocuments(std::move(services));
}

} // namespace keldo::test
