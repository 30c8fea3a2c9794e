// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/watch.h"

#include <optional>
#include <string>
#include <string_view>

namespace keldo::adapter {

/// Asks the monit that listens on the unix socket `socketPath` for its status. Returns the XML
/// document, or nothing if monit does not listen yet or has not answered completely when the wait
/// ends. Throws Failure if monit refuses to answer, and what Watch::wait() throws.
std::optional<std::string> requestStatus(const std::string& socketPath, const Watch& watch,
                                         Clock::time_point deadline);

/// Returns the document in an HTTP answer, or nothing if the answer is incomplete. Throws Failure
/// if the answer is a refusal.
std::optional<std::string> documentInAnswer(std::string_view answer);

} // namespace keldo::adapter
