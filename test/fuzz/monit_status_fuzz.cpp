// SPDX-License-Identifier: MIT

#include "adapter/file.h"
#include "adapter/service.h"
#include "adapter/status_request.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/quiet_libxml2.h"
#include "support/texts.h"
#include "support/xml_text.h"
#include "xml/handles.h"

#include <libxml/parser.h>
#include <optional>
#include <string>
#include <vector>

namespace keldo::test {

namespace {

using adapter::Service;

std::optional<std::vector<Service>> servicesInAnswer(const std::string& answer) {
    try {
        const std::optional<std::string> document = adapter::documentInAnswer(answer);
        return document ? std::optional(adapter::servicesIn(*document, "own")) : std::nullopt;
    } catch (const adapter::Failure&) {
        return std::nullopt;
    }
}

/// The texts in the elements of a document of this program, as libxml2 reads them.
std::vector<std::string> textsIn(const std::string& document) {
    const XmlDocument parsed(xmlReadMemory(document.data(), static_cast<int>(document.size()),
                                           nullptr, nullptr, XML_PARSE_NOBLANKS));
    require(parsed != nullptr, "the document is well-formed");
    std::vector<std::string> texts;
    const xmlNode* const root = xmlDocGetRootElement(parsed.get());
    for (const xmlNode* service = root->children; service != nullptr; service = service->next) {
        for (const xmlNode* child = service->children; child != nullptr; child = child->next) {
            const XmlText text(xmlNodeGetContent(child));
            texts.push_back(fromXml(text.get()));
        }
    }
    return texts;
}

void checkDocument(const std::vector<Service>& services) {
    std::vector<std::string> expected;
    for (const Service& service : services) {
        expected.push_back(validText(service.name));
        expected.push_back(service.isChecked ? validText(service.status) : "1");
    }
    require(textsIn(adapter::documentOf(services)) == expected,
            "the document has each name and status");
}

/// A status as monit 5 or 6 writes it.
std::string statusOf(const std::vector<std::string>& names, bool isVersion6) {
    std::string status = "HTTP/1.0 200 OK\r\n\r\n<monit>";
    for (const std::string& name : names) {
        status += "<service type=\"3\"><name>" + (isVersion6 ? "<![CDATA[" + name + "]]>" : name) +
                  "</name><collected_sec>1</collected_sec><status>512</status>"
                  "<monitor>1</monitor></service>";
    }
    return status + "</monit>";
}

void checkNames(const std::vector<std::string>& names, bool isVersion6) {
    const auto services = servicesInAnswer(statusOf(names, isVersion6));
    require(services.has_value(), "a status of monit can be read");
    std::vector<std::string> found;
    for (const Service& service : *services) {
        found.push_back(service.name);
        requireEqual("512", service.status, "status");
        require(service.isChecked, "the service is checked");
    }
    require(found == names, "each name comes back");
}

/// Whether a reader can find the end of this name in monit's output.
bool hasEnd(const std::string& name) {
    return name != "own" && !name.starts_with("<![CDATA[") &&
           name.find("</name><collected_sec>") == std::string::npos &&
           name.find("]]></name>") == std::string::npos;
}

} // namespace

/// The input is monit's answer, then names of services.
void tryInput(const std::string& input) {
    silenceLibxml2();
    Texts texts(input);
    if (const auto services = servicesInAnswer(texts.next())) {
        checkDocument(*services);
    }
    std::vector<std::string> names;
    while (const std::optional<std::string> name = texts.nextIfAny()) {
        if (hasEnd(*name)) {
            names.push_back(*name);
        }
    }
    checkNames(names, false);
    checkNames(names, true);
}

} // namespace keldo::test
