// SPDX-License-Identifier: MIT

#include "adapter/batch.h"
#include "adapter/file.h"
#include "adapter/service.h"
#include "adapter/status_request.h"
#include "support/fuzz_target.h"
#include "support/laws.h"
#include "support/quiet_libxml2.h"
#include "support/texts.h"
#include "support/xml_text.h"
#include "xml/handles.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace keldo::test {

namespace {

using adapter::ConnectionResult;
using adapter::Service;

/// Names and texts of elements without children.
using Leaves = std::vector<std::pair<std::string, std::string>>;

std::optional<std::vector<Service>> servicesInAnswer(const std::string& answer) {
    try {
        const std::optional<std::string> document = adapter::documentInAnswer(answer);
        return document ? std::optional(adapter::servicesIn(*document, "own")) : std::nullopt;
    } catch (const adapter::Failure&) {
        return std::nullopt;
    }
}

/// The texts of the leaves below `node` with the names of their elements.
void addTexts(const xmlNode* node, Leaves& leaves) {
    for (; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE) {
            continue; // white space
        }
        if (xmlFirstElementChild(const_cast<xmlNode*>(node)) != nullptr) {
            addTexts(node->children, leaves);
        } else {
            leaves.emplace_back(fromXml(node->name),
                                fromXml(XmlText(xmlNodeGetContent(node)).get()));
        }
    }
}

/// The leaves of a document of this program, as libxml2 reads it.
Leaves leavesOf(const std::string& document) {
    const XmlDocument parsed(xmlReadMemory(document.data(), static_cast<int>(document.size()),
                                           nullptr, nullptr, XML_PARSE_NOBLANKS));
    require(parsed != nullptr, "the document is well-formed");
    Leaves leaves;
    addTexts(xmlDocGetRootElement(parsed.get())->children, leaves);
    return leaves;
}

void checkDocument(const std::vector<Service>& services) {
    Leaves expected;
    for (const Service& service : services) {
        expected.emplace_back("name", validText(service.name));
        expected.emplace_back("status", service.isChecked() ? validText(service.status) : "1");
    }
    require(leavesOf(adapter::documentOf(services)) == expected,
            "the document has each name and status");
}

/// The model of a service's words: reads line by line, without a limit of length.
std::string wordsFor(const std::string& name, const std::string& printed) {
    std::string words;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("'" + name + "'") == 0) {
            words += (words.empty() ? "" : "\n") + line;
        }
    }
    return words;
}

bool isSeconds(const std::string& text) {
    return text.size() >= 5 && text[text.size() - 4] == '.' &&
           text.find_first_not_of("0123456789.") == std::string::npos;
}

void addResults(const std::vector<ConnectionResult>& results, const char* name, Leaves& leaves) {
    for (const ConnectionResult& result : results) {
        leaves.emplace_back(name, validText(result.target));
        leaves.emplace_back("responsetime", validText(result.responseTime));
    }
}

/// A service's words must be the start of the model's words, or all of them if those are short.
void checkBatchDocument(const std::vector<Service>& services, const std::string& printed) {
    Leaves leaves = leavesOf(adapter::batchDocumentOf({services, printed, std::chrono::hours(9)}));
    auto leaf = leaves.begin();
    for (const Service& service : services) {
        Leaves expected = {{"name", validText(service.name)},
                           {"status", service.isChecked() ? validText(service.status) : "1"},
                           {"monitor", validText(service.monitor)},
                           {"checked", service.isChecked() ? "1" : "0"}};
        const auto secondsAt = static_cast<std::ptrdiff_t>(expected.size());
        expected.emplace_back("seconds", "");
        addResults(service.ports, "number", expected);
        addResults(service.unixPaths, "path", expected);
        require(leaves.end() - leaf >= static_cast<std::ptrdiff_t>(expected.size()),
                "the batch document has all of a service");
        require(isSeconds((leaf + secondsAt)->second), "a duration has three decimals");
        (leaf + secondsAt)->second.clear();
        require(std::equal(expected.begin(), expected.end(), leaf),
                "the batch document has what monit tells of a service");
        leaf += static_cast<std::ptrdiff_t>(expected.size());
        const std::string words = validText(wordsFor(service.name, printed));
        if (leaf != leaves.end() && leaf->first == "words") {
            require(words.starts_with(leaf->second), "the words are those of the service");
            require(leaf->second.size() <= 4096, "there are at most 4 KiB of words");
            require(leaf->second.size() + 3 >= std::min<size_t>(words.size(), 4096),
                    "the words are whole");
            ++leaf;
        } else {
            require(words.find_first_not_of('\n') == std::string::npos, "no words are missing");
        }
    }
    require(leaf == leaves.end(), "the batch document has nothing else");
}

void checkRefusal(const std::string& printed) {
    const Leaves leaves = leavesOf(adapter::refusalDocumentOf(printed));
    const std::string words = leaves.empty() ? "" : leaves.front().second;
    require(leaves.size() <= 1 && validText(printed).starts_with(words),
            "a refusal has monit's words");
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
        requireEqual("1", service.monitor, "monitor");
    }
    require(found == names, "each name comes back");
}

/// A path comes back as monit 5 writes it, with the port results around it.
void checkPath(const std::string& path) {
    if (path.find("</path><protocol>") != std::string::npos ||
        path.find("<service ") != std::string::npos) {
        return; // the end of the path cannot be found
    }
    const std::string port =
        "<port><hostname>x</hostname><portnumber>1</portnumber><request><![CDATA[<unix>]]>"
        "</request><type>TCP</type><responsetime>-1.0</responsetime></port>";
    const auto services = adapter::servicesIn(
        "<service type=\"3\"><name>web</name><collected_sec>1</collected_sec><status>0</status>"
        "<monitor>1</monitor>" +
            port + "<unix><path>" + path +
            "</path><protocol>DEFAULT</protocol><responsetime>2.0</responsetime></unix>" + port +
            "</service>",
        "own");
    require(services.size() == 1, "there is one service");
    const Service& service = services.front();
    require(service.ports.size() == 2 && service.unixPaths.size() == 1, "all results are read");
    requireEqual(path, service.unixPaths.front().target, "path");
    requireEqual("2.0", service.unixPaths.front().responseTime, "response time");
    requireEqual("-1.0", service.ports.back().responseTime, "response time");
}

/// Whether a reader can find the end of this name in monit's output.
bool hasEnd(const std::string& name) {
    return name != "own" && !name.starts_with("<![CDATA[") &&
           name.find("</name><collected_sec>") == std::string::npos;
}

} // namespace

/// The input is monit's answer, then names of services, which are also paths and printed lines.
void tryInput(const std::string& input) {
    silenceLibxml2();
    Texts texts(input);
    const auto services = servicesInAnswer(texts.next());
    std::vector<std::string> names;
    std::string printed;
    while (const std::optional<std::string> name = texts.nextIfAny()) {
        checkPath(*name);
        printed += *name + "\n'" + *name + "' is down\n";
        if (hasEnd(*name)) {
            names.push_back(*name);
        }
    }
    if (services) {
        checkDocument(*services);
        checkBatchDocument(*services, printed + input);
    }
    checkRefusal(input);
    checkNames(names, false);
    checkNames(names, true);
}

} // namespace keldo::test
