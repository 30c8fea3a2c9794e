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

/// Gives the imported schema, and nothing else, from where or whatever it is.
xmlParserInput* loadImport(const char*, const char*, xmlParserCtxt* parser) {
    return xmlNewStringInputStream(parser, toXml(xmlAttributesSchema));
}

/// While it lives, schemas import from this program alone.
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

/// libxml2's message as a phrase: without namespaces in braces, full stop and line end.
std::string phraseOf(std::string message) {
    for (std::size_t at = 0; (at = message.find("{http:", at)) != std::string::npos;) {
        message.erase(at, message.find('}', at) + 1 - at);
    }
    message.erase(message.find_last_not_of(".\n") + 1);
    return "the schema does not allow this -- " + message;
}

/// For libxml2, of which some versions give a constant error.
template <typename Error> void addFinding(void* findings, Error* error) {
    static_cast<PlacedFindings*>(findings)->emplace_back(static_cast<const xmlNode*>(error->node),
                                                         Level::error, phraseOf(error->message));
}

} // namespace

PlacedFindings schemaFindings(xmlDoc* document) {
    const Schema schema = readSchema();
    const std::unique_ptr<xmlSchemaValidCtxt, SchemaValidatorCloser> validator(
        xmlSchemaNewValidCtxt(schema.get()));
    if (!schema || !validator) {
        throw std::runtime_error("cannot read the schema of definitions");
    }
    PlacedFindings findings;
    xmlSchemaSetValidStructuredErrors(validator.get(), addFinding, &findings);
    xmlSchemaValidateDoc(validator.get(), document);
    return findings;
}

} // namespace keldo::lint
