// SPDX-License-Identifier: MIT

#include "lint/schema_check.h"

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

using testing::ElementsAre;
using testing::IsEmpty;

/// Each finding as "ELEMENT LINE: TEXT".
std::vector<std::string> findingsIn(const std::string& text) {
    const XmlDocument document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "test.xml", nullptr, 0));
    std::vector<std::string> lines;
    for (const PlacedFinding& placed : schemaFindings(document.get())) {
        lines.push_back(fromXml(placed.element->name) + " " + std::to_string(placed.finding.line) +
                        ": " + placed.finding.text);
    }
    return lines;
}

std::string definition(const std::string& port, const std::string& attributes = "id='web'") {
    return "<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1' " + attributes +
           ">\n<title xml:lang='en-US'>Web</title>\n<action type='start'>a</action>\n"
           "<action type='stop'>b</action>\n<checks>\n" +
           port + "</checks></service>";
}

TEST(Schema, IsTheOneThatIsInstalled) {
    const std::filesystem::path schemas = KELDO_SCHEMAS;
    EXPECT_EQ(serviceSchema, test::contentOf(schemas / "keldo-service.xsd"));
    EXPECT_EQ(xmlAttributesSchema, test::contentOf(schemas / "xml.xsd"));
}

TEST(Schema, AllowsADefinition) {
    EXPECT_THAT(findingsIn(definition("<port number='80'/>")), IsEmpty());
}

TEST(Schema, NamesTheElementOfAnAttribute) {
    EXPECT_THAT(
        findingsIn(definition("<port number='80' type='SSL'/>")),
        ElementsAre("port 6: the schema does not allow this -- Element 'port', attribute 'type': "
                    "[facet 'enumeration'] The value 'SSL' is not an element of the set {'TCP', "
                    "'UDP', 'TCPSSL'}"));
}

TEST(Schema, NamesAnElementThatIsNotExpected) {
    EXPECT_THAT(findingsIn(definition("<port number='80'/><prot/>")),
                ElementsAre("prot 6: the schema does not allow this -- Element 'prot': This "
                            "element is not expected. Expected is ( port )"));
}

TEST(Schema, KnowsTheLanguageAttribute) {
    EXPECT_THAT(findingsIn("<service xmlns='http://" KELDO_SCHEMA_HOST
                           "/schemas/keldo/service/1' id='web'>\n<title xml:lang='en'>a</title>"
                           "<action type='start'>a</action><action type='stop'>b</action>"
                           "<checks><port number='1'/></checks></service>"),
                ElementsAre("title 2: the schema does not allow this -- Element 'title', attribute "
                            "'lang': [facet 'pattern'] The value 'en' is not accepted by the "
                            "pattern '[a-z]{2}-[A-Z]{2}'"));
}

TEST(Schema, ThatCannotBeReadEndsTheCheck) {
    validatorsCanBeMade = false;
    EXPECT_THAT(
        [] { findingsIn(definition("<port number='80'/>")); },
        testing::ThrowsMessage<std::runtime_error>("cannot read the schema of definitions"));
    validatorsCanBeMade = true;
}

TEST(Schema, LeavesTheLoaderOfExternalEntitiesAsItWas) {
    const auto before = xmlGetExternalEntityLoader();
    findingsIn(definition("<port number='80'/>"));
    EXPECT_EQ(xmlGetExternalEntityLoader(), before);
}

} // namespace
} // namespace keldo::lint
