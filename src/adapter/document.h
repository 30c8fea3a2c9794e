// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/service.h"

#include <string>
#include <vector>

namespace keldo::adapter {

/// The XML document that tells the services' names and statuses, in UTF-8, in the given order; its
/// form is in doc/monit-check-status.8.
std::string documentOf(const std::vector<Service>& services);

} // namespace keldo::adapter
