// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <string>
#include <string_view>

namespace keldo {

/// Returns the report that the panel reads: an XML document in UTF-8, indented by two spaces a
/// level and ended by a newline. The root element "keldoctl" holds the problems, then the actions,
/// each in the order of their ids:
///
///     <problem id=""><message xml:lang=""/><severity/><solutions><action id="" default="true"/>
///     <action id=""><message xml:lang=""/><status/><log/>
///
/// An empty message, an unknown severity, an empty list of solutions and a missing result have no
/// element; problems, solutions and actions with an empty id are left out. Texts keep their XML
/// references (see element_content.h). Ids and languages do not: each ampersand in them is escaped.
/// Invalid text is replaced (xml/characters.h).
///
/// Throws std::runtime_error if libxml2 cannot serialise the document. Assumes that libxml2's
/// allocations succeed (xml/memory.h).
std::string reportDocument(const ProblemModel& model);

/// Writes the report on `problemModel` to standard output, by writeToStdout(). Reports no error if
/// that fails. Throws as reportDocument() does, before anything is written.
void printReport();

/// Writes all of `text` to standard output. Continues after interrupted and short writes, and waits
/// for room in a full non-blocking pipe. Returns false if writing fails; what was written stays.
bool writeToStdout(std::string_view text);

} // namespace keldo
