// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace keldo::inspect {

/// The monitor's result for one port or socket.
struct ReportedTest {
    bool isPort = true;
    std::uint32_t number = 0; ///< of the port
    std::string path;         ///< of the socket
    bool hasFailed = false;
    double seconds = 0; ///< until the answer; 0 if the test failed
};

/// The monitor's result for one service.
struct ReportedService {
    std::string name;
    std::string status;  ///< empty if the answer lacks it
    std::string monitor; ///< "1" for a monitored service; empty if the answer lacks it
    bool isChecked = true;
    std::optional<double> seconds; ///< how long its tests took
    std::vector<ReportedTest> tests;
    std::string words; ///< the monitor's output about it
};

/// The document that the monitor printed: /monit/service, with the elements name, status, monitor,
/// checked, seconds, port (number, responsetime), unix (path, responsetime) and words, as
/// monit-check-status(8) describes them. Unknown elements are ignored.
struct Answer {
    bool isBatch = false;   ///< the monitor knows the batch mode: batch="1"
    bool isRefused = false; ///< the monitor did not take the control file: refused="1"
    std::string words;      ///< what it printed if it refused the file
    std::vector<ReportedService> services;
};

/// Reads a monitor's output. Returns nothing if the output is not an XML document with the root
/// element monit, or if it has a document type declaration.
std::optional<Answer> readAnswer(const std::string& output);

} // namespace keldo::inspect
