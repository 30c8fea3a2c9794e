// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <string>

namespace keldo {

/// The monit program: "admin/sbin/monit" below PRODUCT_ROOT_D.
std::string monitorPath();

/// Runs monit once on a control file of this service (monitor/control_file.h) and returns
/// whether it found the service running. Every doubt counts as running: a monitor that is missing
/// or broken must not report services as stopped. Throws what monitorStatus throws. The control
/// file is gone afterwards, also after an exception. Prints nothing.
bool isServiceRunning(const ServiceDefinition& definition);

/// The status of the service `name` in the XML that monit printed, the first of
/// /monit/service/status whose sibling `name` has that very text: 0 when all of its tests passed.
/// `defaultStatus` where there is none, it is empty, or the output is not XML. Throws
/// boost::bad_lexical_cast where the status is not a decimal integer. `name` stands between
/// apostrophes in an XPath expression and is not escaped.
int monitorStatus(const std::string& name, const std::string& output, int defaultStatus);

} // namespace keldo
