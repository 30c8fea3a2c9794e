// SPDX-License-Identifier: MIT

#include "monitor/service_definition.h"

#include "support/decimal.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/memory_file.h"
#include "support/quiet_libxml2.h"
#include "xml/handles.h"
#include "xml/xpath.h"

#include <libxml/parser.h>
#include <libxml/xpathInternals.h>
#include <string>
#include <utility>
#include <vector>

namespace keldo::test {

namespace {

constexpr const char* schemaUri = "http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1";

// The model: one XPath query for each datum.

/// The text of an expression, converted by XPath's string().
std::string textOf(const std::string& expression, xmlXPathContext* context) {
    const XPathObject object = evaluateXPath("string(" + expression + ")", context);
    require(object && object->type == XPATH_STRING, "each query has a text");
    return fromXml(object->stringval);
}

int countOf(const std::string& expression, xmlXPathContext* context) {
    const XPathObject object = evaluateXPath("count(" + expression + ")", context);
    require(object && object->type == XPATH_NUMBER, "each query has a count");
    return static_cast<int>(object->floatval);
}

std::string atPosition(const std::string& elements, int position) {
    return elements + "[position()=" + std::to_string(position) + "]";
}

Message titleOf(xmlXPathContext* context) {
    for (const std::string& language : {currentLanguage, std::string(englishLanguage)}) {
        std::string title = textOf("/s:service/s:title[@xml:lang='" + language + "']", context);
        if (!title.empty()) {
            return {std::move(title), language};
        }
    }
    return {"", englishLanguage};
}

std::vector<UnixSocketCheck> unixSocketsOf(xmlXPathContext* context) {
    const std::string elements = "/s:service/s:checks/s:unix-socket";
    const int count = countOf(elements, context);
    std::vector<UnixSocketCheck> checks;
    for (int i = 1; i <= count; ++i) {
        const std::string element = atPosition(elements, i);
        const std::string path = textOf(element, context);
        if (!path.empty()) {
            checks.push_back({path, textOf(element + "/@protocol", context)});
        }
    }
    return checks;
}

PortType portTypeOf(const std::string& text) {
    if (text == "UDP") {
        return PortType::UDP;
    }
    return text == "TCPSSL" ? PortType::TCPSSL : PortType::TCP;
}

/// 0 for a text that is not a number. Negative numbers count down from 2^32, as in strtoul(3).
std::uint32_t portNumberOf(const std::string& text) {
    return static_cast<std::uint32_t>(decimal(text).value_or(0));
}

std::vector<PortCheck> portsOf(xmlXPathContext* context) {
    const std::string elements = "/s:service/s:checks/s:port";
    const int count = countOf(elements, context);
    std::vector<PortCheck> checks;
    for (int i = 1; i <= count; ++i) {
        const std::string element = atPosition(elements, i);
        const std::uint32_t number = portNumberOf(textOf(element + "/@number", context));
        if (number != 0) {
            checks.push_back({portTypeOf(textOf(element + "/@type", context)), number,
                              textOf(element + "/@protocol", context)});
        }
    }
    return checks;
}

ServiceDefinition definitionOf(const std::string& path) {
    ServiceDefinition definition;
    const XmlDocument document(xmlParseFile(path.c_str()));
    if (!document) {
        return definition;
    }
    const XPathContext context(document.get());
    require(context.get() != nullptr, "a document has a context");
    xmlXPathRegisterNs(context.get(), toXml("s"), toXml(schemaUri));
    definition.id = textOf("/s:service/@id", context.get());
    definition.title = titleOf(context.get());
    definition.startAction = textOf("/s:service/s:action[@type='start']", context.get());
    definition.stopAction = textOf("/s:service/s:action[@type='stop']", context.get());
    definition.pidFile = textOf("/s:service/s:checks/s:pid-file", context.get());
    definition.unixSockets = unixSocketsOf(context.get());
    definition.ports = portsOf(context.get());
    return definition;
}

// The laws.

void requireLaws(const ServiceDefinition& definition) {
    for (const PortCheck& port : definition.ports) {
        require(port.number != 0, "no port is 0");
    }
    for (const UnixSocketCheck& socket : definition.unixSockets) {
        require(!socket.path.empty(), "each socket has a path");
    }
    require(definition.title.lang == currentLanguage || definition.title.lang == englishLanguage,
            "a title is in the report's language or in English");
}

void requireExpected(const ServiceDefinition& expected, const ServiceDefinition& actual) {
    requireEqual(expected.id, actual.id, "id");
    requireEqual(expected.title.text, actual.title.text, "title");
    requireEqual(expected.title.lang, actual.title.lang, "title's language");
    requireEqual(expected.startAction, actual.startAction, "start action");
    requireEqual(expected.stopAction, actual.stopAction, "stop action");
    requireEqual(expected.pidFile, actual.pidFile, "pid file");
    require(expected.unixSockets == actual.unixSockets, "unix sockets");
    require(expected.ports == actual.ports, "ports");
}

} // namespace

void tryInput(const std::string& input) {
    silenceLibxml2();
    const MemoryFile file(input);
    for (const char* const language : {"de-DE", englishLanguage}) {
        currentLanguage = language;
        const ServiceDefinition definition = readServiceDefinition(file.path());
        requireLaws(definition);
        requireExpected(definitionOf(file.path()), definition);
        require(definition == readServiceDefinition(file.path()), "two reads are equal");
    }
}

} // namespace keldo::test
