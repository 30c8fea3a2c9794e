// SPDX-License-Identifier: MIT

#include "adapter/check_services.h"

#include "adapter/ending_signals.h"
#include "adapter/failure.h"
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

// Monit gives up a test after five seconds and makes them one after another; the margin is for its
// start and for a busy machine.
constexpr seconds secondsPerTest{5};
constexpr seconds margin{5};

// Short, since a unix socket's path has to fit into 108 bytes.
constexpr std::array baseDirectories = {"/run", "/tmp"};
constexpr const char* directoryPrefix = "monit-check-status.";

PrivateDirectory makeDirectory() {
    try {
        return PrivateDirectory(baseDirectories, directoryPrefix);
    } catch (const std::system_error& error) {
        throw Failure("cannot make a private directory -- " + error.code().message());
    }
}

/// Waits until monit has checked every service once, or until the deadline. Throws MonitEnded.
std::vector<Service> watchServices(const Monit& monit, const Watch& watch,
                                   const std::string& ownName, std::vector<Service> services,
                                   Clock::time_point deadline) {
    const Clock::time_point begin = Clock::now();
    for (;;) {
        if (const std::optional<std::string> status =
                requestStatus(monit.socketPath(), watch, deadline)) {
            services = servicesIn(*status, ownName);
            if (std::all_of(services.begin(), services.end(),
                            [](const Service& service) { return service.isChecked; })) {
                return services;
            }
        }
        // No event tells of a finished check. Most are over after a few milliseconds, some after
        // seconds: the longer it has taken, the less a little more matters.
        const Clock::time_point now = Clock::now();
        const Clock::duration pause =
            std::clamp<Clock::duration>((now - begin) / 8, milliseconds(1), milliseconds(200));
        if (watch.wait(-1, std::min(now + pause, deadline)) == Wake::monitEnded) {
            throw MonitEnded(monit.printed());
        }
        if (now >= deadline) {
            return services;
        }
    }
}

} // namespace

std::vector<Service> checkServices(const ControlFile& control) {
    std::vector<Service> services;
    if (control.isEmpty) {
        return services;
    }
    for (const std::string& name : control.serviceNames) {
        services.push_back({name, "0", false});
    }
    const Clock::time_point deadline = Clock::now() + control.testCount * secondsPerTest + margin;
    const EndingSignals signals;
    const PrivateDirectory directory = makeDirectory();
    directory.sweepAbandoned();
    const Monit monit(directory, control);
    const Watch watch{monit.endDescriptor(), signals};
    return watchServices(monit, watch, directory.name(), std::move(services), deadline);
}

} // namespace keldo::adapter
