// SPDX-License-Identifier: MIT

#pragma once

#include "support/temporary_directory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace keldo::test {

/// A panel of the test's own: PRODUCT_ROOT_D is a folder that is empty but for "tmp", and a service
/// definition file "/service/ID.xml" is looked for in its folder "service". The run's process-wide
/// values (model, catalogue, language) are as they are when a program starts, now and when this
/// goes.
///
/// One at a time. The folder is the same for all of a process, since the configuration is read
/// once.
class FakePanel {
public:
    FakePanel();
    FakePanel(const FakePanel&) = delete;
    FakePanel& operator=(const FakePanel&) = delete;
    ~FakePanel();

    /// PRODUCT_ROOT_D.
    const std::filesystem::path& root() const;

    /// Makes the definition file of the service that is asked for as `id`.
    void define(const std::string& id, const std::string& content) const;

    /// How often the definition file of `id` has been read.
    int readsOf(const std::string& id) const;

    /// Makes the reading of the definition file of `id` throw std::bad_alloc.
    void failOn(const std::string& id) const;

    /// Install a shell script as the monitor or the upgrade-check tool. PANEL in it is root().
    void installMonitor(const std::string& script) const;
    void installUpgradeCheck(const std::string& script) const;

    /// The paths of the control files that there are.
    std::vector<std::string> controlFiles() const;

    /// The content of a file in root(), empty without one.
    std::string content(const std::string& name) const;

private:
    void install(const std::string& tool, const std::string& script) const;
};

/// A definition file's text: the root element with that id and that content.
std::string definitionXml(const std::string& id, const std::string& content);

} // namespace keldo::test
