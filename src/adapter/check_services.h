// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/control_file.h"
#include "adapter/service.h"

#include <stdexcept>
#include <vector>

namespace keldo::adapter {

/// Monit ended by itself instead of checking; its text is what monit printed.
class MonitEnded : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The control file's services, in its order, each checked once, or not yet (`isChecked`) at the
/// deadline that doc/monit-check-status.8 tells of. For an empty file there are none, and monit is
/// not started.
///
/// Starts monit on the control file, and has it and its files removed again when it returns or
/// throws: MonitEnded; Interrupted, by a signal; Failure.
std::vector<Service> checkServices(const ControlFile& control);

} // namespace keldo::adapter
