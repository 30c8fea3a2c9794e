// SPDX-License-Identifier: MIT

#pragma once

#include "xml/handles.h"

#include <libxml/tree.h>

namespace keldo::inspect {

/// The report of the run's own model as keldoctl prints it, parsed again: so its texts are those
/// that a reader of the report gets.
class ReportTree {
public:
    explicit ReportTree(XmlDocument document) : document_(std::move(document)) {}

    /// The element keldoctl, owned by this object.
    xmlNode* root() const { return xmlDocGetRootElement(document_.get()); }

private:
    XmlDocument document_;
};

/// Throws std::runtime_error if the report cannot be made.
ReportTree reportTree();

} // namespace keldo::inspect
