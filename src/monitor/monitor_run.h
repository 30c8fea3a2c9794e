// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <string>

namespace keldo {

/// The path of the monit program: "admin/sbin/monit" below PRODUCT_ROOT_D.
std::string monitorPath();

/// Runs monit once on a control file of this service (monitor/control_file.h) and returns whether
/// the service is running. Also returns true if monit gives no answer: a missing or broken monitor
/// must not make services look stopped. Throws what monitorStatus throws. The control file is
/// always gone afterwards. Prints nothing.
bool isServiceRunning(const ServiceDefinition& definition);

/// Reads the status of the service `name` from the XML that monit printed: the first
/// /monit/service/status with a sibling `name` of exactly that text. 0 means that all tests passed.
/// Returns `defaultStatus` if the output is not XML or has no such status, or an empty one. Throws
/// boost::bad_lexical_cast if the status is not a decimal integer. `name` is put between
/// apostrophes in an XPath expression, without escaping.
int monitorStatus(const std::string& name, const std::string& output, int defaultStatus);

} // namespace keldo
