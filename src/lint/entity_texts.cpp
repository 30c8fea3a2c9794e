// SPDX-License-Identifier: MIT

#include "lint/entity_texts.h"

#include "xml/handles.h"
#include "xml/xpath.h"

#include <string>
#include <vector>

namespace keldo::lint {

namespace {

using Nodes = std::vector<xmlNode*>;

/// Adds each child that is an entity reference to `references`, and each element to `elements`.
void sortChildren(const xmlNode* parent, Nodes& references, Nodes& elements) {
    for (xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (node->type == XML_ENTITY_REF_NODE) {
            references.push_back(node);
        } else if (node->type == XML_ELEMENT_NODE) {
            elements.push_back(node);
        }
    }
}

Nodes referencesBelow(xmlNode* root) {
    Nodes references;
    for (Nodes elements = {root}; !elements.empty();) {
        const xmlNode* const element = elements.back();
        elements.pop_back();
        sortChildren(element, references, elements);
    }
    return references;
}

} // namespace

void replaceEntitiesByText(xmlNode* root) {
    for (xmlNode* const reference : referencesBelow(root)) {
        const std::string text = nodeContent(reference);
        xmlReplaceNode(reference, xmlNewDocText(reference->doc, toXml(text)));
        xmlFreeNode(reference);
    }
}

} // namespace keldo::lint
