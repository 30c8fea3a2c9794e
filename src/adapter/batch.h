// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/check_services.h"

#include <string>
#include <string_view>

namespace keldo::adapter {

/// The documents of the batch mode, in UTF-8; doc/monit-check-status.8 describes their form.

/// The document with monit's results at the limit.
std::string batchDocumentOf(const Findings& findings);

/// The document for a control file that monit refuses; `printed` is the output of monit.
std::string refusalDocumentOf(std::string_view printed);

} // namespace keldo::adapter
