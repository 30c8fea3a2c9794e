// SPDX-License-Identifier: MIT

#include "adapter/check_services.h"

#include "adapter/file.h"
#include "adapter/monit.h"
#include "adapter/status_request.h"
#include "adapter/watch.h"
#include "exec/private_directory.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace keldo::adapter {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Monit gives up a test after five seconds and runs the tests one after another. The margin is for
// monit's start and for a busy machine.
constexpr seconds secondsPerTest{5};
constexpr seconds margin{5};

// Short paths, since the path of a unix socket has to fit into 108 bytes.
constexpr std::array baseDirectories = {"/run", "/tmp"};
constexpr const char* directoryPrefix = "monit-check-status.";

PrivateDirectory makeDirectory() {
    try {
        return PrivateDirectory(baseDirectories, directoryPrefix);
    } catch (const std::system_error& error) {
        throw Failure("cannot make a private directory -- " + error.code().message());
    }
}

/// Waits until monit has checked every service once, or until the deadline.
std::vector<Service> watchServices(const Monit& monit, const Watch& watch,
                                   const std::string& ownName,
                                   const std::vector<std::string>& names,
                                   std::vector<Service> services, Clock::time_point deadline) {
    const Clock::time_point begin = Clock::now();
    for (;;) {
        if (const std::optional<std::string> status =
                requestStatus(monit.socketPath(), watch, deadline)) {
            services = servicesIn(*status, ownName, names);
            if (std::ranges::all_of(services, &Service::isChecked)) {
                return services;
            }
        }
        if (monit.hasEnded()) {
            throw MonitEnded(monit.printed(), monit.hasRefusedControlFile());
        }
        const Clock::time_point now = Clock::now();
        if (now >= deadline) {
            return services;
        }
        // Monit does not announce the end of a check. Most checks take milliseconds, some take
        // seconds, so the pause grows with the time that has passed.
        const Clock::duration pause =
            std::clamp<Clock::duration>((now - begin) / 8, milliseconds(1), milliseconds(200));
        watch.wait(-1, std::min(now + pause, deadline));
    }
}

} // namespace

Findings checkServices(const ControlFile& control, std::optional<milliseconds> limit) {
    const Clock::time_point deadline =
        Clock::now() + limit.value_or(control.testCount * secondsPerTest + margin);
    Findings findings;
    if (control.isEmpty) {
        return findings;
    }
    for (const std::string& name : control.serviceNames) {
        findings.services.push_back({.name = name});
    }
    const Watch watch; // first, so that no signal ends the program while the directory exists
    const PrivateDirectory directory = makeDirectory();
    directory.sweepAbandoned();
    const Monit monit(directory, control);
    findings.services = watchServices(monit, watch, directory.name(), control.serviceNames,
                                      std::move(findings.services), deadline);
    if (limit) {
        findings.printed = monit.printed();
        findings.begin = monit.beginOfFirstCycle();
    }
    return findings;
}

} // namespace keldo::adapter
