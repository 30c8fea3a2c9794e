// SPDX-License-Identifier: MIT

#pragma once

#include "lint/finding.h"
#include "xml/handles.h"

#include <string>

namespace keldo::lint {

/// Parses the XML file `path` with the options that keldoctl uses. Adds libxml2's complaints to
/// `findings`: as errors if the file is not well-formed, else as warnings. Prints nothing.
///
/// Returns null if the file is not well-formed. Also returns null, with an error in `findings`, if
/// the file is compressed by gzip or exceeds one of these limits, since libxml2's time grows with
/// the square of the attributes and its memory with the expanded text:
///   - 256 KiB
///   - 100 attributes and namespace declarations of an element
///   - 512 KiB of text with all entities and default attributes expanded
///
/// Throws std::runtime_error if the file cannot be read.
XmlDocument readDocument(const std::string& path, Findings& findings);

} // namespace keldo::lint
