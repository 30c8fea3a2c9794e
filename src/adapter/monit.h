// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/control_file.h"
#include "exec/private_directory.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <sys/types.h>

namespace keldo::adapter {

/// A stock monit that works on one control file in a private directory; both must outlive the
/// object. Besides the control file's services, monit checks a service with the directory's name.
/// Monit is killed by the destructor, and by the system if this program is killed first.
class Monit {
public:
    /// Starts monit, which reads the control file and opens its socket a little later. Throws
    /// Failure if it cannot be started.
    Monit(const PrivateDirectory& directory, const ControlFile& control);
    ~Monit();
    Monit(const Monit&) = delete;
    Monit& operator=(const Monit&) = delete;

    /// The path of the unix socket on which monit answers.
    std::string socketPath() const { return directory_.file("socket"); }
    /// Whether monit has ended by itself.
    bool hasEnded() const;
    /// Whether monit has ended because it does not accept the control file.
    bool hasRefusedControlFile() const;
    /// The system time when monit began its first cycle, taken from a file that monit makes just
    /// before. Nothing if there is no such file yet.
    std::optional<std::chrono::microseconds> beginOfFirstCycle() const;
    /// The output of monit so far, with the path of the control file in place of the path of its
    /// copy. Throws Failure if it cannot be read.
    std::string printed() const;

private:
    pid_t start() const;
    siginfo_t end() const;
    std::string settings() const;
    std::string copyPath() const { return directory_.file("monitrc"); }
    std::string pidPath() const { return directory_.file("pid"); }
    std::string idPath() const { return directory_.file("id"); }
    std::string printedPath() const { return directory_.file("printed"); }

    const PrivateDirectory& directory_;
    const ControlFile& control_;
    pid_t pid_; ///< also the id of monit's process group, once it exists
};

} // namespace keldo::adapter
