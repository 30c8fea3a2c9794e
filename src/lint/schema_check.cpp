// SPDX-License-Identifier: MIT

#include "lint/schema_check.h"

#include "lint/embedded_schemas.h"
#include "xml/handles.h"

#include <cstring>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlschemas.h>
#include <memory>
#include <stdexcept>
#include <string>

namespace keldo::lint {

namespace {

struct SchemaParserCloser {
    void operator()(xmlSchemaParserCtxt* parser) const noexcept { xmlSchemaFreeParserCtxt(parser); }
};
struct SchemaCloser {
    void operator()(xmlSchema* schema) const noexcept { xmlSchemaFree(schema); }
};
struct SchemaValidatorCloser {
    void operator()(xmlSchemaValidCtxt* validator) const noexcept {
        xmlSchemaFreeValidCtxt(validator);
    }
};
using Schema = std::unique_ptr<::xmlSchema, SchemaCloser>;

/// Returns the imported schema whatever the address is, so that no file is opened.
xmlParserInput* loadImport(const char*, const char*, xmlParserCtxt* parser) {
    return xmlNewStringInputStream(parser, toXml(xmlAttributesSchema));
}

/// While it exists, schemas import from this program only.
class OwnImports {
public:
    OwnImports() : previous_(xmlGetExternalEntityLoader()) {
        xmlSetExternalEntityLoader(loadImport);
    }
    OwnImports(const OwnImports&) = delete;
    OwnImports& operator=(const OwnImports&) = delete;
    ~OwnImports() { xmlSetExternalEntityLoader(previous_); }

private:
    xmlExternalEntityLoader previous_;
};

Schema readSchema() {
    const OwnImports imports;
    const std::unique_ptr<xmlSchemaParserCtxt, SchemaParserCloser> parser(
        xmlSchemaNewMemParserCtxt(serviceSchema, static_cast<int>(std::strlen(serviceSchema))));
    return Schema(xmlSchemaParse(parser.get()));
}

/// libxml2's message without namespaces in braces, full stop and line end.
std::string phraseOf(std::string message) {
    for (std::size_t at = 0; (at = message.find("{http:", at)) != std::string::npos;) {
        message.erase(at, message.find('}', at) + 1 - at);
    }
    message.erase(message.find_last_not_of(".\n") + 1);
    return "the schema does not allow this -- " + message;
}

/// Collects the findings of a validation.
struct Validation {
    const Elements& faultyElements;
    Findings findings;
};

/// A template, since libxml2 passes a constant error from 2.12 on.
template <typename Error> void addFinding(void* context, Error* error) {
    Validation& validation = *static_cast<Validation*>(context);
    const auto* const element = static_cast<const xmlNode*>(error->node);
    if (!validation.faultyElements.contains(element)) {
        validation.findings.push_back(
            {xmlGetLineNo(element), Level::error, phraseOf(error->message)});
    }
}

} // namespace

Findings schemaFindings(xmlDoc* document, const Elements& faultyElements) {
    const Schema schema = readSchema();
    const std::unique_ptr<xmlSchemaValidCtxt, SchemaValidatorCloser> validator(
        xmlSchemaNewValidCtxt(schema.get()));
    if (!schema || !validator) {
        throw std::runtime_error("cannot read the schema of definitions");
    }
    Validation validation = {faultyElements, {}};
    xmlSchemaSetValidStructuredErrors(validator.get(), addFinding, &validation);
    xmlSchemaValidateDoc(validator.get(), document);
    return validation.findings;
}

} // namespace keldo::lint
