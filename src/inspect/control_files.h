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

/// A private directory of this inspection below controlFileDirectory(). It is removed on
/// destruction, and also if the process aborts. Only one may exist at a time. The ending signals
/// must be blocked while it exists.
class ControlFileDirectory {
public:
    /// Also removes the directories of killed inspections. Throws std::system_error if no directory
    /// can be made.
    ControlFileDirectory();
    ControlFileDirectory(const ControlFileDirectory&) = delete;
    ControlFileDirectory& operator=(const ControlFileDirectory&) = delete;
    ~ControlFileDirectory();

    const std::string& path() const { return directory_.path(); }

private:
    PrivateDirectory directory_;
};

/// Writes the control files of all these services to one new file of mode 0600.
/// Returns 0, or an error number if the file cannot be made or written whole.
int writeControlFiles(const std::vector<const ServiceDefinition*>& definitions,
                      const std::string& path);

/// Chooses the services that can share a control file. Their ids must differ even if case is
/// ignored. Their values must contain no character that is special for monit, so that one
/// definition cannot change the meaning of another.
class BatchNames {
public:
    /// Takes the service if it can share a file with those taken before. Returns whether it did.
    bool take(const ServiceDefinition& definition);

private:
    std::set<std::string> idsInLowerCase_;
};

} // namespace keldo::inspect
