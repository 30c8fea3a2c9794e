// SPDX-License-Identifier: MIT

#pragma once

#include "adapter/child.h"
#include "adapter/control_file.h"
#include "exec/private_directory.h"

#include <string>
#include <sys/types.h>

namespace keldo::adapter {

/// A stock monit at work on one control file in a private directory, both of which outlive it.
/// Killed at the end, however this program ends. What it checks besides the control file's services
/// is a service that has the directory's name.
class Monit {
public:
    /// Starts it; it reads the control file and opens its socket a little later. Throws Failure
    /// when it cannot be started.
    Monit(const PrivateDirectory& directory, const ControlFile& control);

    /// The path of the unix socket that monit answers on.
    std::string socketPath() const { return directory_.file("socket"); }
    /// Readable once monit has ended.
    int endDescriptor() const { return child_.endDescriptor(); }
    /// What monit printed so far, with the control file's own path in place of its copy's. Throws
    /// Failure when it cannot be read.
    std::string printed() const;

private:
    pid_t start() const;
    std::string settings() const;
    std::string copyPath() const { return directory_.file("monitrc"); }
    std::string printedPath() const { return directory_.file("printed"); }

    const PrivateDirectory& directory_;
    const ControlFile& control_;
    Child child_;
};

} // namespace keldo::adapter
