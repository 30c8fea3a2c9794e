// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/control_file.h"
#include "adapter/service.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace keldo::adapter {

/// Monit ended by itself instead of checking. The text is what monit printed.
class MonitEnded : public std::runtime_error {
public:
    MonitEnded(const std::string& printed, bool hasRefused)
        : std::runtime_error(printed), hasRefusedControlFile(hasRefused) {}

    bool hasRefusedControlFile; ///< false: it ended for another reason
};

/// The findings of monit.
struct Findings {
    std::vector<Service> services; ///< in the file's order
    std::string printed;           ///< what monit printed
    /// The system time when monit began the first check, if it is known.
    std::optional<std::chrono::microseconds> begin;
};

/// Starts monit on the control file and waits until it has checked every service once, or until the
/// deadline that doc/monit-check-status.8 describes. Some services may not be checked then. Does
/// not start monit for an empty file.
///
/// With `limit`, waits at most that long, whatever the deadline is, and also returns what monit
/// printed and when it began the first check.
///
/// Throws MonitEnded, Interrupted (by a signal), Failure or std::bad_alloc. Monit and its files are
/// gone when it returns or throws.
Findings checkServices(const ControlFile& control,
                       std::optional<std::chrono::milliseconds> limit = std::nullopt);

} // namespace keldo::adapter
