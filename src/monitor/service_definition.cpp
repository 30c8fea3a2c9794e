// SPDX-License-Identifier: MIT

#include "monitor/service_definition.h"

#include "conf/config_value.h"
#include "monitor/service_definition_reader.h"
#include "xml/handles.h"

#include <boost/lexical_cast.hpp>
#include <exception>
#include <libxml/catalog.h>
#include <libxml/parser.h>

namespace keldo {

const char* const definitionNamespace = "http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1";

PortType portType(const std::string& text) {
    if (text == "UDP") {
        return PortType::UDP;
    }
    return text == "TCPSSL" ? PortType::TCPSSL : PortType::TCP;
}

std::uint32_t portNumber(const std::string& text) {
    try {
        return text.empty() ? 0 : boost::lexical_cast<std::uint32_t>(text);
    } catch (const std::exception&) {
        return 0;
    }
}

ServiceDefinition readServiceDefinition(const std::string& path) {
    xmlCheckVersion(oldestLibxml2);
    // Without this, libxml2 looks up a missing file in the machine's XML catalogues. The
    // environment may name these, and they may lead to the network.
    xmlCatalogSetDefaults(XML_CATA_ALLOW_NONE);
    const XmlDocument document(xmlParseFile(path.c_str()));
    return document ? readServiceDefinition(document.get()) : ServiceDefinition();
}

std::string definitionDirectory() {
    return configValue("PRODUCT_ETC_D") + "/service";
}

std::string definitionPath(const std::string& requestedId) {
    return definitionDirectory() + "/" + requestedId + ".xml";
}

ServiceDefinition::ServiceDefinition(const std::string& requestedId)
    : ServiceDefinition(readServiceDefinition(definitionPath(requestedId))) {}

} // namespace keldo
