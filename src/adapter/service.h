// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace keldo::adapter {

/// One service of a control file.
struct Service {
    std::string name;   ///< as monit gives it, any bytes
    std::string status; ///< decimal: 0, or the sum of monit's error bits
    bool isChecked;     ///< if false, the status means nothing yet
};

/// Reads the services from monit's status, a complete document of monit 5 or 6, in its order.
/// Leaves out the service `ownName`. Throws Failure if a service lacks what it should have.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName);

/// The XML document that this program prints, in UTF-8: the services in the given order. Its form
/// is in doc/monit-check-status.8.
std::string documentOf(const std::vector<Service>& services);

} // namespace keldo::adapter
