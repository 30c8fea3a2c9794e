// SPDX-License-Identifier: MIT

#pragma once

#include "xml/handles.h"

#include <libxml/tree.h>

namespace keldo::inspect {

/// The report on problemModel, written as keldoctl prints it and parsed again. Its texts are
/// therefore exactly those that a reader of keldoctl's report gets.
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
