// SPDX-License-Identifier: MIT

#include "lint/monit_test.h"

#include "exec/command_runner.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace keldo::lint {

namespace {

constexpr const char* monitPath = "/usr/bin/monit";

/// A fresh directory, mode 0700, removed with what is in it at the end.
class PrivateDirectory {
public:
    PrivateDirectory() {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("cannot make a directory -- " + path_ + ": " +
                                     std::generic_category().message(errno));
        }
    }
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string name() const { return std::filesystem::path(path_).filename(); }
    std::string file(const char* fileName) const { return path_ + "/" + fileName; }

private:
    std::string path_ = "/tmp/keldo-service-lint.XXXXXX";
};

/// Keeps monit's files in the directory and, as monit-check-status does, gives the host a name that
/// no service has. Behind the text, as monit heeds the last of two equal settings and its lines
/// then have their own numbers.
std::string settings(const PrivateDirectory& directory) {
    return "\nset idfile " + directory.file("id") + "\nset statefile " + directory.file("state") +
           "\nset pidfile " + directory.file("pid") + "\ncheck system " + directory.name() + "\n";
}

/// Monit reads no file that others may read.
void writePrivately(const std::string& path, const std::string& text) {
    using std::filesystem::perms;
    std::ofstream stream(path, std::ios::binary);
    std::error_code failure;
    std::filesystem::permissions(path, perms::owner_read | perms::owner_write, failure);
    stream << text << std::flush;
    if (failure || !stream) {
        throw std::runtime_error("cannot write a file -- " + path);
    }
}

/// A complaint begins with the file's path, and ends where the next one begins.
std::vector<std::string> complaintsIn(const std::string& output, const std::string& path) {
    std::vector<std::string> complaints;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(path + ":")) {
            complaints.push_back("line " + line.substr(path.size() + 1));
        } else if (!complaints.empty()) {
            complaints.back() += "\n" + line;
        }
    }
    return complaints;
}

} // namespace

std::vector<std::string> monitComplaints(const std::string& controlFile) {
    if (controlFile.empty() || access(monitPath, X_OK) != 0) {
        return {};
    }
    const PrivateDirectory directory;
    const std::string path = directory.file("monitrc");
    writePrivately(path, controlFile + settings(directory));
    const CommandResult result = runCommand(std::string(monitPath) + " -t -c " + path, true);
    if (result.status == 0) {
        return {};
    }
    std::vector<std::string> complaints = complaintsIn(result.output, path);
    if (complaints.empty()) {
        complaints.push_back(result.output);
    }
    return complaints;
}

} // namespace keldo::lint
