// SPDX-License-Identifier: MIT

#include "lint/schema_check.h"

#include "lint/definition_text.h"
#include "lint/embedded_schemas.h"
#include "support/temporary_directory.h"
#include "xml/handles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <stdexcept>

namespace {

bool validatorsCanBeMade = true;

} // namespace

extern "C" xmlSchemaValidCtxt* __real_xmlSchemaNewValidCtxt(xmlSchema* schema);
extern "C" xmlSchemaValidCtxt* __wrap_xmlSchemaNewValidCtxt(xmlSchema* schema) {
    return validatorsCanBeMade ? __real_xmlSchemaNewValidCtxt(schema) : nullptr;
}

namespace keldo::lint {
namespace {

using test::withChecks;

/// The findings as lines. `skipped` is the name of elements whose findings are left out.
std::vector<std::string> findingsIn(const std::string& text, const char* skipped = "") {
    const XmlDocument document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "test.xml", nullptr, 0));
    Elements faulty;
    const xmlNode* const checks = xmlLastElementChild(xmlDocGetRootElement(document.get()));
    for (const xmlNode* node = checks->children; node != nullptr; node = node->next) {
        if (fromXml(node->name) == skipped) {
            faulty.insert(node);
        }
    }
    return test::linesOf(schemaFindings(document.get(), faulty));
}

TEST(Schema, EqualsTheInstalledSchema) {
    const std::filesystem::path schemas = KELDO_SCHEMAS;
    EXPECT_EQ(serviceSchema, keldo::test::contentOf(schemas / "keldo-service.xsd"));
    EXPECT_EQ(xmlAttributesSchema, keldo::test::contentOf(schemas / "xml.xsd"));
}

TEST(SchemaFindings, NameLineAndFault) {
    const std::string port = "<port number='80'/>";
    std::string withShortLanguage = withChecks(port);
    withShortLanguage.replace(withShortLanguage.find("en-US"), 5, "en");
    const std::pair<std::string, std::vector<std::string>> table[] = {
        {withChecks(port), {}},
        {withChecks("<port number='80' type='SSL'/>"),
         {"6: error: the schema does not allow this -- Element 'port', attribute 'type': [facet "
          "'enumeration'] The value 'SSL' is not an element of the set {'TCP', 'UDP', "
          "'TCPSSL'}"}},
        {withChecks(port + "<prot/>"),
         {"6: error: the schema does not allow this -- Element 'prot': This element is not "
          "expected. Expected is ( port )"}},
        {withShortLanguage,
         {"2: error: the schema does not allow this -- Element 'title', attribute 'lang': [facet "
          "'pattern'] The value 'en' is not accepted by the pattern '[a-z]{2}-[A-Z]{2}'"}},
    };
    for (const auto& [text, lines] : table) {
        SCOPED_TRACE(text);
        EXPECT_EQ(findingsIn(text), lines);
    }
}

TEST(SchemaFindings, OmitFaultyElements) {
    const std::string text = withChecks("<pid-file x=''>/a</pid-file><port number='0'/>");
    EXPECT_EQ(findingsIn(text).size(), 2U);
    EXPECT_EQ(findingsIn(text, "port").size(), 1U);
}

TEST(SchemaFindings, ThrowIfTheSchemaCannotBeRead) {
    validatorsCanBeMade = false;
    EXPECT_THAT(
        [] { findingsIn(withChecks("<port number='80'/>")); },
        testing::ThrowsMessage<std::runtime_error>("cannot read the schema of definitions"));
    validatorsCanBeMade = true;
}

TEST(SchemaFindings, RestoreTheLoaderOfExternalEntities) {
    const auto before = xmlGetExternalEntityLoader();
    findingsIn(withChecks("<port number='80'/>"));
    EXPECT_EQ(xmlGetExternalEntityLoader(), before);
}

} // namespace
} // namespace keldo::lint
