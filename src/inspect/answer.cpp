// SPDX-License-Identifier: MIT

#include "inspect/answer.h"

#include "xml/handles.h"

#include <charconv>
#include <libxml/parser.h>
#include <string_view>

namespace keldo::inspect {

namespace {

bool isElement(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && node->ns == nullptr &&
           xmlStrEqual(node->name, toXml(name)) != 0;
}

std::string contentOf(const xmlNode* node) {
    return fromXml(XmlText(xmlNodeGetContent(node)).get());
}

/// The contents of the child elements of that name.
std::vector<std::string> childContents(const xmlNode* parent, const char* name) {
    std::vector<std::string> contents;
    for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (isElement(node, name)) {
            contents.push_back(contentOf(node));
        }
    }
    return contents;
}

/// The content of the only child element of that name. Empty if there are several, since they may
/// contradict each other.
std::string childContent(const xmlNode* parent, const char* name) {
    const std::vector<std::string> contents = childContents(parent, name);
    return contents.size() == 1 ? contents.front() : "";
}

bool hasFlag(const xmlNode* element, const char* name) {
    return fromXml(XmlText(xmlGetNoNsProp(const_cast<xmlNode*>(element), toXml(name))).get()) ==
           "1";
}

/// The whole text as a number. The locale does not matter.
template <typename Number> std::optional<Number> numberIn(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

/// A time from 0 seconds to a day; nothing for any other text. A longer time may not fit into
/// Clock::duration.
std::optional<double> secondsIn(std::string_view text) {
    constexpr double mostSeconds = 86400;
    const std::optional<double> seconds = numberIn<double>(text);
    return seconds && *seconds >= 0 && *seconds <= mostSeconds ? seconds : std::nullopt;
}

ReportedTest readTest(const xmlNode* element, bool isPort) {
    ReportedTest test;
    test.isPort = isPort;
    test.number = numberIn<std::uint32_t>(childContent(element, "number")).value_or(0);
    test.path = childContent(element, "path");
    const std::optional<double> seconds = secondsIn(childContent(element, "responsetime"));
    test.seconds = seconds.value_or(0);
    test.hasFailed = !seconds; // monit prints -1 for a failed test
    return test;
}

ReportedService readService(const xmlNode* element) {
    ReportedService service;
    service.name = childContent(element, "name");
    service.status = childContent(element, "status");
    service.monitor = childContent(element, "monitor");
    service.isChecked =
        childContents(element, "checked").empty() || childContent(element, "checked") == "1";
    service.seconds = secondsIn(childContent(element, "seconds"));
    service.words = childContent(element, "words");
    for (const xmlNode* node = element->children; node != nullptr; node = node->next) {
        if (isElement(node, "port") || isElement(node, "unix")) {
            service.tests.push_back(readTest(node, isElement(node, "port")));
        }
    }
    return service;
}

} // namespace

std::optional<Answer> readAnswer(const std::string& output) {
    constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    const XmlDocument document(
        xmlReadMemory(output.data(), static_cast<int>(output.size()), nullptr, nullptr, options));
    const xmlNode* const root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr || !isElement(root, "monit") || document->intSubset != nullptr) {
        return std::nullopt;
    }
    Answer answer;
    answer.isBatch = hasFlag(root, "batch");
    answer.isRefused = hasFlag(root, "refused");
    answer.words = childContent(root, "words");
    for (const xmlNode* node = root->children; node != nullptr; node = node->next) {
        if (isElement(node, "service")) {
            answer.services.push_back(readService(node));
        }
    }
    return answer;
}

} // namespace keldo::inspect
