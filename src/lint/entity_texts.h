// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/tree.h>

namespace keldo::lint {

/// Replaces each entity reference below an element by the text that keldoctl reads for it: the text
/// of an internal entity without its elements, and no text for an external entity. References in
/// attributes stay. libxml2's parser can expand entities too. But it would also insert their
/// elements, which keldoctl does not find, and give them the line numbers of the entity.
void replaceEntitiesByText(xmlNode* root);

} // namespace keldo::lint
