// SPDX-License-Identifier: MIT

#pragma once

#include "support/temporary_directory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace keldo::test {

/// A panel in a temporary folder: PRODUCT_ROOT_D holds only "tmp" at first, and definitions
/// "/service/ID.xml" are read from its folder "service". Constructor and destructor reset the
/// process-wide values (model, catalogue, language) to those of a new process.
///
/// Use one at a time. All panels of a process have the same folder, since a process reads the
/// configuration once.
class FakePanel {
public:
    FakePanel();
    FakePanel(const FakePanel&) = delete;
    FakePanel& operator=(const FakePanel&) = delete;
    ~FakePanel();

    /// PRODUCT_ROOT_D.
    const std::filesystem::path& root() const;

    /// Writes the definition file of the service `id`.
    void define(const std::string& id, const std::string& content) const;

    /// The number of reads of the definition file of `id`.
    int readsOf(const std::string& id) const;

    /// Makes the reading of the definition file of `id` throw std::bad_alloc.
    void failOn(const std::string& id) const;

    /// Install a shell script as the monitor or the upgrade-check tool. PANEL in it is root().
    void installMonitor(const std::string& script) const;
    void installUpgradeCheck(const std::string& script) const;

    /// The paths of the existing control files.
    std::vector<std::string> controlFiles() const;

    /// The content of a file in root(); empty if there is no file.
    std::string content(const std::string& name) const;

private:
    void install(const std::string& tool, const std::string& script) const;
};

/// A definition file's text: the root element with that id and that content.
std::string definitionXml(const std::string& id, const std::string& content);

} // namespace keldo::test
