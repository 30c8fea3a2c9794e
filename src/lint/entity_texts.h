// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/tree.h>

namespace keldo::lint {

/// Replaces each entity reference below an element by the text that keldoctl reads for it: the text
/// of an internal entity without its elements, and no text for an external entity. libxml2's parser
/// can expand entities too, but it would insert their elements, which keldoctl does not find, with
/// line numbers of the entity. The elements of the document are not replaced.
void replaceEntitiesByText(xmlNode* root);

} // namespace keldo::lint
