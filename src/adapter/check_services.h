// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/control_file.h"
#include "adapter/service.h"

#include <stdexcept>
#include <vector>

namespace keldo::adapter {

/// Monit ended by itself instead of checking. The text is what monit printed.
class MonitEnded : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Starts monit on the control file and waits until it has checked every service once, or until the
/// deadline that doc/monit-check-status.8 describes. Returns the services in the file's order;
/// those not yet checked have `isChecked` false. Does not start monit for an empty file.
///
/// Monit and its files are gone when it returns or throws: MonitEnded, Interrupted (by a signal),
/// Failure or std::bad_alloc.
std::vector<Service> checkServices(const ControlFile& control);

} // namespace keldo::adapter
