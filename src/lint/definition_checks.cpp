// SPDX-License-Identifier: MIT

#include "lint/definition_checks.h"

#include "lint/monit_syntax.h"
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

using NodeList = std::vector<const xmlNode*>;

NodeList childrenOf(const xmlNode* parent, const char* name) {
    NodeList children;
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

/// Checks one file; each function checks one part of it.
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

    const CheckedDefinition& result() const { return result_; }

private:
    void error(const xmlNode* element, const std::string& text) {
        result_.findings.push_back({xmlGetLineNo(element), Level::error, text});
        result_.faultyElements.insert(element);
    }
    void warning(const xmlNode* element, const std::string& text) {
        result_.findings.push_back({xmlGetLineNo(element), Level::warning, text});
    }

    void checkTitleText(const xmlNode* title);
    void checkAction(const char* type, const std::string& commands);
    void checkPidFiles(const NodeList& elements);
    void checkPidFile(const xmlNode* element);
    void checkUnixSocket(const xmlNode* element);
    void checkPort(const xmlNode* element);
    void checkPortNumber(const xmlNode* element);

    const xmlNode* service_;
    const ServiceDefinition& definition_;
    CheckedDefinition result_;
};

void Checks::checkFileName(const std::string& path) {
    const std::filesystem::path name = std::filesystem::path(path).filename();
    if (name.extension() != ".xml") {
        error(service_,
              "the file name does not end in .xml, so keldoctl does not find the file -- " +
                  name.string());
    } else if (!definition_.id.empty() && name.stem() != definition_.id) {
        error(service_,
              "the id differs from the file name, by which keldoctl looks up a service -- " +
                  definition_.id);
    }
}

void Checks::checkId() {
    if (definition_.id.empty()) {
        error(service_, "the id is missing, so keldoctl does not know the service");
    }
}

void Checks::checkNameForMonit(const std::string& hostName) {
    const std::string& id = definition_.id;
    if (const std::string character = unquotableCharacter(id); !character.empty()) {
        error(service_, "monit cannot read an id with " + character + " -- " + id);
    }
    if (isSameMonitName(id, hostName)) {
        warning(service_,
                "the id is this host's name, which monit uses for the host itself -- " + id);
    }
}

void Checks::checkTitles() {
    std::set<std::string> languages;
    for (const xmlNode* const title : childrenOf(service_, "title")) {
        const std::string language = attribute(title, "lang", XML_XML_NAMESPACE);
        if (!languages.insert(language).second) {
            warning(title, "keldoctl uses only the first title in a language -- " + language);
        }
        checkTitleText(title);
    }
    if (isBlank(definition_.title.text)) {
        error(service_,
              "there is no title in en-US, which keldoctl uses for each language without one");
    }
}

void Checks::checkTitleText(const xmlNode* title) {
    const std::string text = nodeContent(title);
    if (!isBlank(text) && (whiteSpace.find(text.front()) != std::string_view::npos ||
                           whiteSpace.find(text.back()) != std::string_view::npos)) {
        warning(title, "white space around a title is part of the title");
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
            error(action, std::string("keldoctl uses only the first action of a type -- ") + type);
        }
    }
}

void Checks::checkChecks() {
    NodeList pidFiles;
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
        error(service_,
              "there is neither a pid file nor a port, so nothing is tested and the service "
              "always counts as running");
    }
}

void Checks::checkPidFiles(const NodeList& elements) {
    for (const xmlNode* const element : elements) {
        if (element == elements.front()) {
            checkPidFile(element);
        } else {
            error(element, "keldoctl uses only the first pid file -- " + nodeContent(element));
        }
    }
}

/// The control file has the path between double quotes.
void Checks::checkPidFile(const xmlNode* element) {
    const std::string& path = definition_.pidFile;
    if (path.empty()) {
        error(element, "a pid file element without a path has no effect");
    } else if (path.find('\n') != std::string::npos) {
        error(element, "monit cannot read a pid file path with a line feed -- " + path);
    } else if (path.find('"') != std::string::npos) {
        error(element, "monit cannot read a pid file path with a quote -- " + path);
    } else if (path.find('\\') != std::string::npos) {
        error(element,
              "monit may read a backslash in a pid file path as part of an escape sequence -- " +
                  path);
    } else if (!path.starts_with("/")) {
        error(element,
              "monit cannot read a pid file path that does not begin with a slash -- " + path);
    } else if (whiteSpace.find(path.back()) != std::string_view::npos) {
        error(element, "white space at the end is part of the pid file path -- " + path);
    } else if (path.find_first_of(whiteSpace) != std::string::npos) {
        warning(element, "the pid file path contains white space -- " + path);
    }
}

/// The control file has the path without quotes, so monit ignores white space around it.
void Checks::checkUnixSocket(const xmlNode* element) {
    const std::string text = nodeContent(element);
    const std::string path = trimmed(text);
    if (text.empty()) {
        error(element, "keldoctl ignores a unix socket without a path");
    } else if (definition_.pidFile.empty()) {
        error(element, "a unix socket is not tested without a pid file -- " + path);
    } else if (path.empty()) {
        error(element, "monit cannot read a unix socket path of white space alone");
    } else if (const std::string character = unquotableCharacter(path); !character.empty()) {
        error(element, "monit cannot read a unix socket path with " + character + " -- " + path);
    } else if (!path.starts_with("/")) {
        error(element,
              "monit cannot read a unix socket path that does not begin with a slash -- " + path);
    }
}

void Checks::checkPort(const xmlNode* element) {
    checkPortNumber(element);
    const std::string type = attribute(element, "type");
    if (portType(type) == PortType::TCP && !type.empty() && type != "TCP") {
        error(element, "keldoctl treats an unknown port type as TCP -- " + type);
    }
    const std::string protocol = attribute(element, "protocol");
    if (!protocol.empty() && !isMonitProtocol(protocol)) {
        error(element, "monit cannot read an unknown protocol -- " + protocol);
    } else if (isUdpProtocol(protocol) && portType(type) != PortType::UDP) {
        error(element, "monit cannot read this protocol unless the port is UDP -- " + protocol);
    }
}

void Checks::checkPortNumber(const xmlNode* element) {
    const std::string text = attribute(element, "number");
    const std::uint32_t number = portNumber(text);
    if (text.empty()) {
        error(element, "keldoctl ignores a port without a number");
    } else if (number == 0) {
        error(element, "keldoctl ignores a port without a usable number -- " + text);
    } else if (number > highestPort) {
        error(element, "the highest port number is 65535 -- " + text);
    }
}

} // namespace

bool isServiceElement(const xmlNode* root) {
    return isElement(root, "service");
}

CheckedDefinition checkDefinition(const std::string& path, const xmlNode* service,
                                  const ServiceDefinition& definition,
                                  const std::string& hostName) {
    Checks checks(service, definition);
    checks.checkFileName(path);
    checks.checkId();
    checks.checkTitles();
    checks.checkActions();
    if (definition.id != databaseService) {
        checks.checkNameForMonit(hostName);
        checks.checkChecks();
    }
    return checks.result();
}

} // namespace keldo::lint
