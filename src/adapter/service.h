// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace keldo::adapter {

/// One service of a control file.
struct Service {
    std::string name;   ///< as monit gives it, in any bytes
    std::string status; ///< decimal: 0, or the sum of monit's error bits
    bool isChecked;     ///< else its status means nothing yet
};

/// Reads the services in monit's status, a whole document of its version 5 or 6, in the order of
/// the document: all but `ownName`. A scan, as the document need not be well-formed. Throws Failure
/// where a service is not told as expected.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName);

} // namespace keldo::adapter
