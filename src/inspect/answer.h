// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace keldo::inspect {

/// What the monitor tells of one port or socket.
struct ToldTest {
    bool isPort = true;
    std::uint32_t number = 0; ///< of the port
    std::string path;         ///< of the socket
    bool hasFailed = false;
    double seconds = 0; ///< until it answered
};

/// What the monitor tells of one service.
struct ToldService {
    std::string name;
    std::string status;  ///< empty if it is not told
    std::string monitor; ///< "1" for a service that is monitored; empty if it is not told
    bool isChecked = true;
    std::optional<double> seconds; ///< how long its tests took
    std::vector<ToldTest> tests;
    std::string words; ///< what the monitor printed for it
};

/// The document that the monitor printed: /monit/service, with the elements name, status, monitor,
/// checked, seconds, port (number, responsetime), unix (path, responsetime) and words, as
/// monit-check-status(8) describes them. Unknown elements are passed over.
struct Answer {
    bool isBatch = false;   ///< the monitor keeps to a limit: batch="1"
    bool isRefused = false; ///< the monitor did not take the control file: refused="1"
    std::string words;      ///< what it printed then
    std::vector<ToldService> services;
};

/// Reads a monitor's output. Returns nothing for what is no document with the root element monit,
/// and for one with a document type declaration.
std::optional<Answer> readAnswer(const std::string& output);

} // namespace keldo::inspect
