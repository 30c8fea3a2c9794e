// SPDX-License-Identifier: MIT

#pragma once

#include "exec/private_directory.h"
#include "monitor/service_definition.h"

#include <set>
#include <string>
#include <vector>

namespace keldo::inspect {

/// The directory of control files, "tmp" below PRODUCT_ROOT_D.
std::string controlFileDirectory();

/// A directory of this inspection's own in that directory, removed on destruction, and also if the
/// process aborts. One at a time. The ending signals must be blocked while it lives.
class ControlFileDirectory {
public:
    /// Removes what killed inspections left. Throws std::system_error if no directory can be made.
    ControlFileDirectory();
    ControlFileDirectory(const ControlFileDirectory&) = delete;
    ControlFileDirectory& operator=(const ControlFileDirectory&) = delete;
    ~ControlFileDirectory();

    const std::string& path() const { return directory_.path(); }

private:
    PrivateDirectory directory_;
};

/// Writes the control files of the services, one after another, to a new file of mode 0600.
/// Returns 0, or an error number if the file cannot be made or written whole.
int writeControlFiles(const std::vector<const ServiceDefinition*>& definitions,
                      const std::string& path);

/// Chooses services that can share a control file: their ids differ even if case does not count,
/// and monit takes their values as they stand there, unquoted, so that what one definition says
/// cannot change what another one means.
class BatchNames {
public:
    /// Whether the service can join those that were taken before. If so, it is taken.
    bool take(const ServiceDefinition& definition);

private:
    std::set<std::string> idsInLowerCase_;
};

} // namespace keldo::inspect
