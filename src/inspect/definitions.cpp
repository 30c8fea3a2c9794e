// SPDX-License-Identifier: MIT

#include "inspect/definitions.h"

#include "inspect/reasons.h"
#include "monitor/service_catalogue.h"

#include <cerrno>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

/// The code of the reason why the file cannot be read, or null if it can.
const char* faultOfFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? "definition_missing" : "definition_unreadable";
    }
    if (!S_ISREG(status.st_mode)) {
        return "definition_no_file";
    }
    return access(path.c_str(), R_OK) == 0 ? nullptr : "definition_unreadable";
}

std::string parserWords() {
    const xmlError* const error = xmlGetLastError();
    if (error == nullptr || error->message == nullptr) {
        return "";
    }
    const std::string message = error->message;
    return "line " + std::to_string(error->line) + ": " +
           message.substr(0, message.find_last_not_of('\n') + 1);
}

bool hasTests(const ServiceDefinition& definition) {
    return definition.id == databaseService || !definition.pidFile.empty() ||
           !definition.ports.empty();
}

} // namespace

bool isReadableFile(const std::string& path) {
    return faultOfFile(path) == nullptr;
}

FoundDefinition findDefinition(const std::string& id) {
    const std::string path = definitionPath(id);
    const auto fault = [&path](const char* code) {
        return reason(code, Subject::general, Substitution{"<path>", path});
    };
    if (const char* const code = faultOfFile(path)) {
        return {path, {}, fault(code), ""};
    }
    xmlResetLastError();
    FoundDefinition found{path, ServiceCatalogue::instance().lookup(id), {}, ""};
    if (found.definition.id.empty()) {
        found.fault = fault("definition_ill_formed");
        found.detail = parserWords();
    } else if (!hasTests(found.definition)) {
        found.fault = fault("definition_without_tests");
    }
    return found;
}

} // namespace keldo::inspect
