// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/watch.h"

#include <optional>
#include <string>

namespace keldo::adapter {

/// Asks the monit that listens on the unix socket `socketPath` for its status, an XML document.
/// Nothing comes back when it does not listen yet, when it ends, or when it has not answered at the
/// deadline; else the whole document, with the line ends that stand before it. Throws Failure when
/// monit refuses to answer, and what Watch::wait throws.
std::optional<std::string> requestStatus(const std::string& socketPath, const Watch& watch,
                                         Clock::time_point deadline);

} // namespace keldo::adapter
