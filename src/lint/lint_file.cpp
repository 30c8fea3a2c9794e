// SPDX-License-Identifier: MIT

#include "lint/lint_file.h"

#include "exec/unique_fd.h"
#include "lint/definition_checks.h"
#include "lint/entity_texts.h"
#include "lint/monit_acceptance.h"
#include "lint/schema_check.h"
#include "monitor/control_file.h"
#include "monitor/service_definition.h"
#include "xml/handles.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <sstream>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>

namespace keldo::lint {

namespace {

/// While it lives, what libxml2 says goes into the findings, or nowhere, instead of being printed.
class XmlErrors {
public:
    explicit XmlErrors(Findings* findings) {
        xmlSetStructuredErrorFunc(findings, [](void* found, auto* error) {
            if (found != nullptr) {
                const std::string message = error->message;
                static_cast<Findings*>(found)->push_back(
                    {error->line, Level::error,
                     message.substr(0, message.find_last_not_of('\n') + 1)});
            }
        });
    }
    XmlErrors(const XmlErrors&) = delete;
    XmlErrors& operator=(const XmlErrors&) = delete;
    ~XmlErrors() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
};

/// Tells what libxml2's words mean: it also has some of what it reads, such as a prefix without a
/// namespace.
void explain(Findings& errorsOfXml, bool isXml) {
    for (Finding& finding : errorsOfXml) {
        if (isXml) {
            finding.level = Level::warning;
        }
        finding.text.insert(0, isXml ? "keldoctl reads this, but it is no good XML -- "
                                     : "this is no XML -- ");
    }
}

void requireReadable(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char byte = 0;
    if (!file || read(file.get(), &byte, 1) < 0) {
        throw UnreadableFile("cannot read a file -- " + path + ": " +
                             std::generic_category().message(errno));
    }
}

std::string hostName() {
    utsname names;
    uname(&names);
    return names.nodename;
}

bool hasErrorAt(const xmlNode* element, const PlacedFindings& findings) {
    return std::ranges::any_of(findings, [element](const PlacedFinding& placed) {
        return placed.element == element && placed.finding.level == Level::error;
    });
}

std::string controlFileOf(const ServiceDefinition& definition) {
    std::ostringstream stream;
    writeControlFile(definition, stream);
    return stream.str();
}

/// The path as one that libxml2 takes for nothing but a file's: "-" would be standard input to it,
/// and what begins like a URL one.
std::string filePath(const std::string& path) {
    return path.starts_with("/") ? path : "./" + path;
}

/// Adds what is found of a well-formed document.
void lintDocument(const std::string& path, xmlDoc* document, Result& result) {
    const xmlNode* const root = xmlDocGetRootElement(document);
    const auto add = [&result](long line, const std::string& text) {
        result.findings.push_back({line, Level::error, text});
    };
    if (!isServiceElement(root)) {
        add(xmlGetLineNo(root),
            std::string("keldoctl reads nothing of a file whose root element is not a service "
                        "in the namespace ") +
                definitionNamespace);
        return;
    }
    const ServiceDefinition definition = readServiceDefinition(path);
    const PlacedFindings placed = checkDefinition(path, root, definition, hostName());
    for (const PlacedFinding& finding : placed) {
        result.findings.push_back(finding.finding);
    }
    for (const PlacedFinding& finding : schemaFindings(document)) {
        if (!hasErrorAt(finding.element, placed)) {
            result.findings.push_back(finding.finding);
        }
    }
    if (definition.id != databaseService) {
        result.controlFile = controlFileOf(definition);
    }
    for (const std::string& complaint : monitComplaints(result.controlFile.value_or(""))) {
        add(xmlGetLineNo(root),
            "monit cannot read the control file of the service -- " + complaint);
    }
}

} // namespace

Result lintFile(const std::string& path) {
    requireReadable(path);
    Result result;
    const XmlErrors errors(&result.findings);
    const std::string file = filePath(path);
    const XmlDocument document(xmlReadFile(file.c_str(), nullptr, 0));
    explain(result.findings, document != nullptr);
    if (document) {
        const XmlErrors silence(nullptr); // the same errors come again
        replaceEntitiesByText(xmlDocGetRootElement(document.get()));
        lintDocument(file, document.get(), result);
        std::ranges::stable_sort(result.findings, {}, &Finding::line);
    }
    return result;
}

} // namespace keldo::lint
