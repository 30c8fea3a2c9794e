// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/tree.h>

namespace keldo::lint {

/// Puts the text that keldoctl reads of it in place of each reference to an entity below an
/// element: that of an internal one, without the elements in it, and none of an external one.
/// libxml2's parser could do so as well, but would put in the elements too, which keldoctl does not
/// find, with the lines of the entity. The elements of the document stay what they are.
void replaceEntitiesByText(xmlNode* root);

} // namespace keldo::lint
