// SPDX-License-Identifier: MIT

#include "lint/monit_acceptance.h"

#include "exec/command_runner.h"
#include "exec/ending_signals.h"
#include "exec/file_remover.h"
#include "exec/private_directory.h"
#include "exec/stock_monit.h"
#include "monitor/monit_remarks.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace keldo::lint {

namespace {

constexpr std::array baseDirectories = {"/tmp"};
constexpr const char* directoryPrefix = "keldo-service-lint.";
constexpr int accepted = 0; ///< monit's exit status if it can read the file
constexpr int refused = 1;  ///< its exit status if it cannot, or fails for another reason

PrivateDirectory makeDirectory() {
    try {
        return PrivateDirectory(baseDirectories, directoryPrefix);
    } catch (const std::system_error& error) {
        throw std::runtime_error("cannot make a private directory -- /tmp: " +
                                 error.code().message());
    }
}

/// The settings that keep monit's files in the directory. Like monit-check-status, they give the
/// host a name that no service has. They follow the control file's text: so its line numbers do not
/// change, and monit uses the last of two equal settings.
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
    return runCommand(std::string(stockMonit) + " -t -c " + controlFile + "; exit $?", true);
}

/// Reads "LINE: TEXT".
MonitComplaint complaintOf(const std::string& words) {
    MonitComplaint complaint{0, "line " + words};
    std::from_chars(words.data(), words.data() + words.size(), complaint.line);
    return complaint;
}

/// A complaint begins with the path of the file and ends before the next complaint.
std::vector<MonitComplaint> complaintsIn(const std::string& output, const std::string& path) {
    std::vector<MonitComplaint> complaints;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(path + ":")) {
            complaints.push_back(complaintOf(line.substr(path.size() + 1)));
        } else if (!complaints.empty()) {
            complaints.back().text += "\n" + line;
        }
    }
    return complaints;
}

std::string reasonOf(const CommandResult& result) {
    const std::string text = result.output.substr(0, result.output.find_last_not_of('\n') + 1);
    return text.empty() ? "exit status " + std::to_string(result.status) : text;
}

} // namespace

std::vector<MonitComplaint> monitComplaints(const std::string& controlFile) {
    if (controlFile.empty() || access(stockMonit, X_OK) != 0) {
        return {};
    }
    HeldEndingSignals held; // until the remover exists
    const PrivateDirectory directory = makeDirectory();
    const FileRemover remover(directory.path());
    held.release();
    const std::string path = directory.file("monitrc");
    writePrivately(path, controlFile + settings(directory));
    const CommandResult result = runMonit(path);
    if (result.status == accepted) {
        return {};
    }
    std::vector<MonitComplaint> complaints = complaintsIn(withoutRemarks(result.output), path);
    if (result.status != refused || complaints.empty()) {
        throw std::runtime_error("monit could not test the control file -- " + reasonOf(result));
    }
    return complaints;
}

} // namespace keldo::lint
