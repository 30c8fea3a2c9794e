// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <string>

namespace keldo {

/// The report that the panel reads: an XML document in UTF-8, indented by two spaces a level and
/// ended by a newline. The root element "keldoctl" holds the problems and then the actions, each
/// in the order of their ids:
///
///     <problem id=""><message xml:lang=""/><severity/><solutions><action id="" default="true"/>
///     <action id=""><message xml:lang=""/><status/><log/>
///
/// What a problem or an action lacks has no element; one with an empty id is left out. Texts are
/// the content argument of libxml2's xmlNewChild, so an entity reference in them is one in the
/// report, and an ampersand that begins none loses the text or stands there as it is. Ids and
/// languages are values of xmlNewProp. In all of them, what XML cannot carry is replaced
/// (xml/characters.h).
///
/// Throws std::runtime_error where libxml2 cannot serialise the document. Of libxml2's memory no
/// account is taken here: see xml/memory.h.
std::string reportDocument(const ProblemModel& model);

/// Writes the document of the run's own model to standard output. An interrupted or short write is
/// continued, and so is one to a full pipe that does not block; where writing fails, what was
/// written stays. Throws as reportDocument does, and writes nothing then.
void printReport();

} // namespace keldo
