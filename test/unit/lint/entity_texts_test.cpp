// SPDX-License-Identifier: MIT

#include "lint/entity_texts.h"

#include "xml/handles.h"
#include "xml/xpath.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <string>

namespace keldo::lint {
namespace {

/// The root element with its entities replaced, as XML.
std::string replaced(const std::string& root) {
    const std::string text = "<!DOCTYPE a [<!ENTITY t 'te&lt;xt'><!ENTITY u '-&t;-'>"
                             "<!ENTITY e '<b>c</b>'><!ENTITY x SYSTEM 'file:///etc/passwd'>]>" +
                             root;
    const XmlDocument document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0));
    xmlNode* const element = xmlDocGetRootElement(document.get());
    const std::string before = nodeContent(element);
    replaceEntitiesByText(element);
    EXPECT_EQ(nodeContent(element), before);
    const std::unique_ptr<xmlBuffer, void (*)(xmlBuffer*)> buffer(xmlBufferCreate(), xmlBufferFree);
    xmlNodeDump(buffer.get(), document.get(), element, 0, 0);
    return fromXml(xmlBufferContent(buffer.get()));
}

TEST(ReplaceEntitiesByText, ReplacesReferencesInElements) {
    const std::pair<const char*, const char*> table[] = {
        {"<a>1&t;2<b>&t;&u;</b></a>", "<a>1te&lt;xt2<b>te&lt;xt-te&lt;xt-</b></a>"},
        {"<a>&e;</a>", "<a>c</a>"},
        {"<a>&x;</a>", "<a></a>"},
        {"<a b='&u;'/>", "<a b=\"&u;\"/>"}, // attributes are not nodes of their element
        {"<a>1<!--2--><?p 3?><b c='d'>&amp;</b></a>",
         "<a>1<!--2--><?p 3?><b c=\"d\">&amp;</b></a>"},
    };
    for (const auto& [before, after] : table) {
        SCOPED_TRACE(before);
        EXPECT_EQ(replaced(before), after);
    }
}

} // namespace
} // namespace keldo::lint
