// SPDX-License-Identifier: MIT

#include "lint/lint_file.h"

#include "lint/definition_checks.h"
#include "lint/document.h"
#include "lint/entity_texts.h"
#include "lint/monit_acceptance.h"
#include "lint/schema_check.h"
#include "monitor/control_file.h"
#include "monitor/definition_lines.h"
#include "monitor/service_definition_reader.h"

#include <algorithm>
#include <sstream>
#include <sys/utsname.h>

namespace keldo::lint {

namespace {

std::string hostName() {
    utsname names;
    uname(&names);
    return names.nodename;
}

std::string controlFileOf(const ServiceDefinition& definition) {
    std::ostringstream stream;
    writeControlFile(definition, stream);
    return stream.str();
}

void append(Findings& findings, const Findings& more) {
    findings.insert(findings.end(), more.begin(), more.end());
}

/// The complaints of monit, each at the line of the definition from which keldoctl made the line of
/// the control file. If a quote stays open, monit may complain about a line after the last one; the
/// finding then has the line of the root element.
Findings acceptanceFindings(const xmlNode* root, const ServiceDefinition& definition,
                            const std::string& controlFile) {
    Findings findings;
    for (const MonitComplaint& complaint : monitComplaints(controlFile)) {
        const long line = definitionLine(root, definition, complaint.line);
        findings.push_back(
            {line != 0 ? line : xmlGetLineNo(root), Level::error,
             "monit cannot read the control file of the service -- " + complaint.text});
    }
    return findings;
}

/// Adds the findings of a well-formed document, and its control file.
void lintDocument(const std::string& path, xmlDoc* document, Result& result) {
    xmlNode* const root = xmlDocGetRootElement(document);
    if (!isServiceElement(root)) {
        result.findings.push_back(
            {xmlGetLineNo(root), Level::error,
             "keldoctl ignores a file whose root element is not a service in the namespace " +
                 std::string(definitionNamespace)});
        return;
    }
    const ServiceDefinition definition = readServiceDefinition(document);
    replaceEntitiesByText(root);
    const CheckedDefinition checked = checkDefinition(path, root, definition, hostName());
    append(result.findings, checked.findings);
    append(result.findings, schemaFindings(document, checked.faultyElements));
    if (definition.id == databaseService) {
        return;
    }
    result.controlFile = controlFileOf(definition);
    append(result.findings, acceptanceFindings(root, definition, *result.controlFile));
}

} // namespace

Result lintFile(const std::string& path) {
    Result result;
    const XmlDocument document = readDocument(path, result.findings);
    if (document) {
        lintDocument(path, document.get(), result);
        std::ranges::stable_sort(result.findings, {}, &Finding::line);
    }
    return result;
}

} // namespace keldo::lint
