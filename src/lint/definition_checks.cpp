// SPDX-License-Identifier: MIT

#include "lint/definition_checks.h"

#include "lint/monit_syntax.h"
#include "lint/title_text.h"
#include "xml/handles.h"
#include "xml/xpath.h"

#include <cstdint>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>

namespace keldo::lint {

namespace {

constexpr std::string_view whiteSpace = " \t\n\r";
constexpr std::uint32_t highestPort = 65535;

bool isBlank(std::string_view text) {
    return text.find_first_not_of(whiteSpace) == std::string_view::npos;
}

bool isElement(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, toXml(name)) != 0 &&
           node->ns != nullptr && xmlStrEqual(node->ns->href, toXml(definitionNamespace)) != 0;
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(whiteSpace);
    const std::size_t end = text.find_last_not_of(whiteSpace) + 1;
    return begin == std::string::npos ? "" : text.substr(begin, end - begin);
}

using Elements = std::vector<const xmlNode*>;

Elements childrenOf(const xmlNode* parent, const char* name) {
    Elements children;
    for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (isElement(node, name)) {
            children.push_back(node);
        }
    }
    return children;
}

std::string attribute(const xmlNode* element, const char* name, const xmlChar* nameSpace) {
    return fromXml(
        XmlText(xmlGetNsProp(const_cast<xmlNode*>(element), toXml(name), nameSpace)).get());
}

std::string attribute(const xmlNode* element, const char* name) {
    return fromXml(XmlText(xmlGetNoNsProp(const_cast<xmlNode*>(element), toXml(name))).get());
}

/// Looks at one file; each function at one part of it.
class Checks {
public:
    Checks(const xmlNode* service, const ServiceDefinition& definition)
        : service_(service), definition_(definition) {}

    void checkFileName(const std::string& path);
    void checkId();
    void checkNameForMonit(const std::string& hostName);
    void checkTitles();
    void checkActions();
    void checkChecks();

    PlacedFindings& findings() { return findings_; }

private:
    void error(const xmlNode* element, const std::string& text) {
        findings_.emplace_back(element, Level::error, text);
    }
    void warning(const xmlNode* element, const std::string& text) {
        findings_.emplace_back(element, Level::warning, text);
    }

    void checkTitleText(const xmlNode* title);
    void checkAction(const char* type, const std::string& commands);
    void checkPidFiles(const Elements& elements);
    void checkPidFile(const xmlNode* element);
    void checkUnixSocket(const xmlNode* element);
    void checkPort(const xmlNode* element);
    void checkPortNumber(const xmlNode* element);

    const xmlNode* service_;
    const ServiceDefinition& definition_;
    PlacedFindings findings_;
};

void Checks::checkFileName(const std::string& path) {
    const std::filesystem::path name = std::filesystem::path(path).filename();
    if (name.extension() != ".xml") {
        error(service_,
              "the name of the file does not end in .xml, so keldoctl does not find it -- " +
                  name.string());
    } else if (!definition_.id.empty() && name.stem() != definition_.id) {
        error(service_,
              "the id is not the name of the file, by which keldoctl looks for a service -- " +
                  definition_.id);
    }
}

void Checks::checkId() {
    if (definition_.id.empty()) {
        error(service_, "there is no id, so keldoctl takes the service for unknown");
    }
}

void Checks::checkNameForMonit(const std::string& hostName) {
    const std::string& id = definition_.id;
    if (const std::string character = unquotableCharacter(id); !character.empty()) {
        error(service_, "monit cannot read an id with " + character + " -- " + id);
    }
    if (isMonitKeyword(id)) {
        warning(service_,
                "the id is a word of monit's own language, which not every monit takes for "
                "a name -- " +
                    id);
    }
    if (isSameMonitName(id, hostName)) {
        warning(service_,
                "the id is the name of this host, by which monit means the host itself -- " + id);
    }
}

void Checks::checkTitles() {
    std::set<std::string> languages;
    for (const xmlNode* const title : childrenOf(service_, "title")) {
        const std::string language = attribute(title, "lang", XML_XML_NAMESPACE);
        if (!languages.insert(language).second) {
            warning(title, "keldoctl takes only the first title of a language -- " + language);
        }
        checkTitleText(title);
    }
    if (isBlank(definition_.title.text)) {
        error(service_, "there is no title in en-US, which stands for each language without one");
    }
}

void Checks::checkTitleText(const xmlNode* title) {
    const std::string text = nodeContent(title);
    if (const std::string fault = faultInTitle(text); !fault.empty()) {
        error(title, fault + " -- " + text);
    }
    if (!isBlank(text) && (whiteSpace.find(text.front()) != std::string_view::npos ||
                           whiteSpace.find(text.back()) != std::string_view::npos)) {
        warning(title, "white space around a title is part of it");
    }
}

void Checks::checkActions() {
    checkAction("start", definition_.startAction);
    checkAction("stop", definition_.stopAction);
}

void Checks::checkAction(const char* type, const std::string& commands) {
    if (isBlank(commands)) {
        error(service_, std::string("there is no ") + type + " action, so a repair does not " +
                            type + " the service");
    }
    bool isFirst = true;
    for (const xmlNode* const action : childrenOf(service_, "action")) {
        if (attribute(action, "type") == type && !std::exchange(isFirst, false)) {
            error(action, std::string("keldoctl takes only the first action of a type -- ") + type);
        }
    }
}

void Checks::checkChecks() {
    Elements pidFiles;
    for (const xmlNode* const checks : childrenOf(service_, "checks")) {
        for (const xmlNode* const pidFile : childrenOf(checks, "pid-file")) {
            pidFiles.push_back(pidFile);
        }
        for (const xmlNode* const unixSocket : childrenOf(checks, "unix-socket")) {
            checkUnixSocket(unixSocket);
        }
        for (const xmlNode* const port : childrenOf(checks, "port")) {
            checkPort(port);
        }
    }
    checkPidFiles(pidFiles);
    if (definition_.pidFile.empty() && definition_.ports.empty()) {
        error(service_, "nothing is tested, for want of a pid file and of a port, so the service "
                        "always counts as running");
    }
}

void Checks::checkPidFiles(const Elements& elements) {
    for (const xmlNode* const element : elements) {
        if (element == elements.front()) {
            checkPidFile(element);
        } else {
            error(element, "keldoctl takes only the first pid file -- " + nodeContent(element));
        }
    }
}

/// It stands between double quotes in the control file.
void Checks::checkPidFile(const xmlNode* element) {
    const std::string& path = definition_.pidFile;
    if (path.empty()) {
        error(element, "a pid file without a path is none");
    } else if (path.find('\n') != std::string::npos) {
        error(element, "monit cannot read the path of a pid file with a line feed -- " + path);
    } else if (path.find('"') != std::string::npos) {
        error(element, "monit cannot read the path of a pid file with a quote -- " + path);
    } else if (path.find('\\') != std::string::npos) {
        error(element, "monit may take a backslash in the path of a pid file for the beginning "
                       "of another character -- " +
                           path);
    } else if (!path.starts_with("/")) {
        error(element,
              "monit cannot read the path of a pid file that does not begin with a slash -- " +
                  path);
    } else if (whiteSpace.find(path.back()) != std::string_view::npos) {
        error(element, "white space at the end is part of the path of the pid file -- " + path);
    } else if (path.find_first_of(whiteSpace) != std::string::npos) {
        warning(element, "white space in the path of the pid file -- " + path);
    }
}

/// It stands between words in the control file, where white space around it is no part of it.
void Checks::checkUnixSocket(const xmlNode* element) {
    const std::string text = nodeContent(element);
    const std::string path = trimmed(text);
    if (text.empty()) {
        error(element, "a unix socket without a path is dropped");
    } else if (definition_.pidFile.empty()) {
        error(element, "a unix socket is not tested where there is no pid file -- " + path);
    } else if (path.empty()) {
        error(element, "monit cannot read a unix socket whose path is white space");
    } else if (const std::string character = unquotableCharacter(path); !character.empty()) {
        error(element,
              "monit cannot read the path of a unix socket with " + character + " -- " + path);
    } else if (!path.starts_with("/")) {
        error(element,
              "monit cannot read the path of a unix socket that does not begin with a slash -- " +
                  path);
    }
}

void Checks::checkPort(const xmlNode* element) {
    checkPortNumber(element);
    const std::string type = attribute(element, "type");
    if (portType(type) == PortType::TCP && !type.empty() && type != "TCP") {
        error(element, "unknown type of port, which keldoctl takes for TCP -- " + type);
    }
    const std::string protocol = attribute(element, "protocol");
    if (!protocol.empty() && !isMonitProtocol(protocol)) {
        error(element, "monit cannot read a control file with an unknown protocol -- " + protocol);
    } else if (isProtocolOfUdpAlone(protocol) && portType(type) != PortType::UDP) {
        error(element, "monit cannot read a control file with this protocol on a port that is not "
                       "of the type UDP -- " +
                           protocol);
    }
}

void Checks::checkPortNumber(const xmlNode* element) {
    const std::string text = attribute(element, "number");
    const std::uint32_t number = portNumber(text);
    if (text.empty()) {
        error(element, "a port without a number is dropped");
    } else if (number == 0) {
        error(element, "a port is dropped whose number is not one -- " + text);
    } else if (number > highestPort) {
        error(element, "there is no port of this number -- " + text);
    }
}

} // namespace

bool isServiceElement(const xmlNode* root) {
    return isElement(root, "service");
}

PlacedFindings checkDefinition(const std::string& path, const xmlNode* service,
                               const ServiceDefinition& definition, const std::string& hostName) {
    Checks checks(service, definition);
    checks.checkFileName(path);
    checks.checkId();
    checks.checkTitles();
    checks.checkActions();
    if (definition.id != databaseService) {
        checks.checkNameForMonit(hostName);
        checks.checkChecks();
    }
    return checks.findings();
}

} // namespace keldo::lint
