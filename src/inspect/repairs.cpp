// SPDX-License-Identifier: MIT

#include "inspect/repairs.h"

#include "diag/repair.h"
#include "exec/process_state.h"
#include "inspect/names.h"
#include "report/problem_model.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string_view>
#include <syslog.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

/// In quotes, with quotes and control characters replaced, so that no text can add a line or
/// further words to the log. Cut to the length of a path, since the log drops long lines.
std::string quoted(std::string text) {
    constexpr std::size_t most = 4096;
    text.resize(std::min(text.size(), most));
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '"') {
            c = '?';
        }
    }
    return '"' + text + '"';
}

/// The number of a user who has not logged in, such as a daemon.
constexpr const char* noLoginUid = "4294967295";

std::string whoAsks() {
    std::string loginUid = "unknown";
    std::getline(std::ifstream("/proc/self/loginuid"), loginUid);
    const char* const sudoUser = std::getenv("SUDO_USER");
    return "uid " + std::to_string(getuid()) + ", login uid " +
           (loginUid == noLoginUid ? "unset" : loginUid) +
           (sudoUser != nullptr ? ", SUDO_USER " + quoted(sudoUser) : "");
}

void writeToLog(const std::string& line) {
    openlog(programName.c_str(), LOG_PID, LOG_DAEMON);
    syslog(LOG_NOTICE, "%s", line.c_str());
    closelog(); // so that no child inherits the connection
}

/// The outcome of the repair in words, and whether it succeeded.
std::pair<std::string, bool> outcomeOf(const std::string& id) {
    const auto result = problemModel.actionResults().find(id);
    if (result == problemModel.actionResults().end()) {
        return {"not carried out, since there is no such repair", false};
    }
    const int status = result->second.status;
    return status == 0 ? std::pair<std::string, bool>("ok", true)
                       : std::pair("failed, status " + std::to_string(status), false);
}

std::string joined(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (const std::string_view piece : pieces) {
        text += piece;
    }
    return text;
}

/// Returns whether the repair was carried out and succeeded.
bool carryOut(const std::string& id, const std::string& asker,
              const std::function<void(const std::string&)>& tell) {
    const std::string shownId = quoted(id);
    tell(shownId + " ...");
    // First, since the repair may end this process.
    writeToLog(joined({"repair ", shownId, " begins; ", asker}));
    const Clock::time_point start = Clock::now();
    repairActions({id});
    const std::string seconds = secondsText(inMilliseconds(Clock::now() - start)) + " s";
    const auto [outcome, hasSucceeded] = outcomeOf(id);
    writeToLog(joined({"repair ", shownId, ": ", outcome, "; ", seconds, "; ", asker}));
    tell(joined({shownId, ": ", outcome, ", ", seconds}));
    return hasSucceeded;
}

} // namespace

bool carryOutRepairs(const std::vector<std::string>& ids,
                     const std::function<void(const std::string&)>& tell) {
    const std::string asker = whoAsks();
    bool haveSucceeded = true;
    for (const std::string& id : ids) {
        haveSucceeded = carryOut(id, asker, tell) && haveSucceeded;
    }
    return haveSucceeded;
}

} // namespace keldo::inspect
