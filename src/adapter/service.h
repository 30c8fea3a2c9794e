// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace keldo::adapter {

/// The result of one test of a port or unix socket. The texts are monit's own, any bytes.
struct ConnectionResult {
    std::string target;       ///< the port's number or the socket's path
    std::string responseTime; ///< seconds; negative if there was no answer
};

/// One service of a control file. The texts are monit's own, any bytes.
struct Service {
    static constexpr const char* waitingForFirstCheck = "2";

    std::string name;
    std::string status = "0";                   ///< decimal: 0, or the sum of monit's error bits
    std::string monitor = waitingForFirstCheck; ///< monit's monitoring state
    std::chrono::microseconds collected{0};     ///< system time at the end of the last check, or 0
    std::vector<ConnectionResult> ports = {};   ///< in monit's order
    std::vector<ConnectionResult> unixPaths = {}; ///< in monit's order

    /// If false, the status has no meaning yet.
    bool isChecked() const { return monitor != waitingForFirstCheck; }
};

/// Reads the services from monit's status, a complete document of monit 5 or 6, in its order.
/// Leaves out the service `ownName`. `names` are the names in the control file; they decide how to
/// read a name that monit may have escaped. Throws Failure if a service lacks its name, status or
/// monitoring state. Times and results that are missing or not understood are left out.
std::vector<Service> servicesIn(std::string_view status, const std::string& ownName,
                                const std::vector<std::string>& names = {});

/// The status to print: 1 for a service whose check was not finished at the deadline.
std::string_view statusOf(const Service& service);

/// The XML document that this program prints without a limit, in UTF-8: the services in the given
/// order. Its form is in doc/monit-check-status.8.
std::string documentOf(const std::vector<Service>& services);

} // namespace keldo::adapter
