// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/check_services.h"

#include <string>
#include <string_view>

namespace keldo::adapter {

/// The documents of the batch mode, in UTF-8; doc/monit-check-status.8 describes their form.

/// The document of what monit has found until the limit.
std::string batchDocumentOf(const Findings& findings);

/// The document of a control file that monit does not accept; `printed` is what monit printed.
std::string refusalDocumentOf(std::string_view printed);

} // namespace keldo::adapter
