// SPDX-License-Identifier: MIT

#include "lint/monit_acceptance.h"

#include "exec/command_runner.h"
#include "exec/ending_signals.h"
#include "exec/file_remover.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace keldo::lint {

namespace {

constexpr const char* monitPath = "/usr/bin/monit";
constexpr int accepted = 0; ///< monit's exit status for what it can read
constexpr int refused = 1;  ///< and for what it cannot, though not for that alone

/// A fresh directory, mode 0700, removed with the files that monit may make in it, at the end or
/// when an ending signal comes before. To remove it takes no memory, of which there may be none.
class PrivateDirectory {
public:
    PrivateDirectory();

    std::string name() const { return std::filesystem::path(path_).filename(); }
    std::string file(const char* fileName) const { return path_ + "/" + fileName; }
    const std::string& controlFile() const { return removed_[0]; }

private:
    std::string path_ = "/tmp/keldo-service-lint.XXXXXX";
    // The id again, as monit may write it meanwhile: a signal to this process does not end it.
    std::vector<std::string> removed_ = {file("monitrc"), file("state"), file("pid"), file("id"),
                                         path_,           file("id"),    path_};
    std::optional<FileRemover> remover_;
};

PrivateDirectory::PrivateDirectory() {
    const HeldEndingSignals held; // until the remover is there
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory -- " + path_ + ": " +
                                 std::generic_category().message(errno));
    }
    for (std::string& path : removed_) {
        std::ranges::copy(path_, path.begin()); // the name as it is now, of the same length
    }
    remover_.emplace(removed_);
}

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

/// The shell is not to become monit, as some do for a last command: of a shell that dies by a
/// signal the runner says that all went well.
CommandResult runMonit(const std::string& controlFile) {
    return runCommand(std::string(monitPath) + " -t -c " + controlFile + "; exit $?", true);
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

std::string reasonOf(const CommandResult& result) {
    const std::string text = result.output.substr(0, result.output.find_last_not_of('\n') + 1);
    return text.empty() ? "exit status " + std::to_string(result.status) : text;
}

} // namespace

std::vector<std::string> monitComplaints(const std::string& controlFile) {
    if (controlFile.empty() || access(monitPath, X_OK) != 0) {
        return {};
    }
    const PrivateDirectory directory;
    writePrivately(directory.controlFile(), controlFile + settings(directory));
    const CommandResult result = runMonit(directory.controlFile());
    if (result.status == accepted) {
        return {};
    }
    std::vector<std::string> complaints = complaintsIn(result.output, directory.controlFile());
    if (result.status != refused || complaints.empty()) {
        throw std::runtime_error("monit could not test the control file -- " + reasonOf(result));
    }
    return complaints;
}

} // namespace keldo::lint
