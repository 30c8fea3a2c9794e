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
constexpr int accepted = 0; ///< monit's exit status if it can read the file
constexpr int refused = 1;  ///< if it cannot, or fails for another reason

/// A fresh directory of mode 0700 for the files of monit. It is removed with them on destruction or
/// by an ending signal. Removal does not allocate, so it works when memory is exhausted.
class PrivateDirectory {
public:
    PrivateDirectory();

    std::string name() const { return std::filesystem::path(path_).filename(); }
    std::string file(const char* fileName) const { return path_ + "/" + fileName; }
    const std::string& controlFile() const { return removed_[0]; }

private:
    std::string path_ = "/tmp/keldo-service-lint.XXXXXX";
    // `id` twice, since our signal does not stop monit, which may create `id` again in between.
    std::vector<std::string> removed_ = {file("monitrc"), file("state"), file("pid"), file("id"),
                                         path_,           file("id"),    path_};
    std::optional<FileRemover> remover_;
};

PrivateDirectory::PrivateDirectory() {
    const HeldEndingSignals held; // until the remover exists
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory -- " + path_ + ": " +
                                 std::generic_category().message(errno));
    }
    for (std::string& path : removed_) {
        std::ranges::copy(path_, path.begin()); // the actual name, of the same length
    }
    remover_.emplace(removed_);
}

/// The settings that keep monit's files in the directory. Like monit-check-status, they give the
/// host a name that no service has. They follow the control file's text, so that its line numbers
/// do not change, and since monit uses the last of two equal settings.
std::string settings(const PrivateDirectory& directory) {
    return "\nset idfile " + directory.file("id") + "\nset statefile " + directory.file("state") +
           "\nset pidfile " + directory.file("pid") + "\ncheck system " + directory.name() + "\n";
}

/// Monit refuses a file that others may read.
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

/// "exit" makes the shell stay monit's parent. Otherwise it might execute monit in its own place,
/// and a signal that kills monit would count as success (exec/command_runner.h).
CommandResult runMonit(const std::string& controlFile) {
    return runCommand(std::string(monitPath) + " -t -c " + controlFile + "; exit $?", true);
}

/// A complaint begins with the path of the file and ends before the next complaint.
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
