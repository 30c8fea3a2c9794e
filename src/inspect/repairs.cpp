// SPDX-License-Identifier: MIT

#include "inspect/repairs.h"

#include "diag/repair.h"
#include "exec/process_state.h"
#include "inspect/names.h"
#include "report/problem_model.h"
#include "report/translation.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <syslog.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

/// Replaces control characters, so that a text can neither add a line nor control a terminal. Cuts
/// it to the length of a path, since the log drops long lines.
std::string inOneLine(std::string text) {
    constexpr std::size_t most = 4096;
    text.resize(std::min(text.size(), most));
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') {
            c = '?';
        }
    }
    return text;
}

/// In quotes, with quotes replaced, so that no text can add further words to the log.
std::string quoted(const std::string& text) {
    std::string line = inOneLine(text);
    std::replace(line.begin(), line.end(), '"', '?');
    return '"' + line + '"';
}

/// The title of a repair for the reader, or its id if there is no such repair.
std::string titleOf(const std::string& id) {
    const Solution solution = solutionForAction(id);
    return inOneLine(solution.id.empty() ? id : solution.message.text);
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

/// The exit status of the repair; none if there is no such repair.
std::optional<int> statusOf(const std::string& id) {
    const auto result = problemModel.actionResults().find(id);
    if (result == problemModel.actionResults().end()) {
        return std::nullopt;
    }
    return result->second.status;
}

std::string outcomeInLog(std::optional<int> status) {
    if (!status) {
        return "not carried out, since there is no such repair";
    }
    return *status == 0 ? "ok" : "failed, status " + std::to_string(*status);
}

std::string outcomeForReader(std::optional<int> status, const std::string& seconds) {
    if (!status) {
        return translate("There is no such repair.").text;
    }
    if (*status == 0) {
        return translateWith("Done in <seconds> s.", Substitution{"<seconds>", seconds}).text;
    }
    return translateWith("Failed with status <status> after <seconds> s.",
                         Substitution{"<status>", std::to_string(*status)},
                         Substitution{"<seconds>", seconds})
        .text;
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
    const std::string title = titleOf(id);
    tell(title);
    // First, since the repair may end this process.
    writeToLog(joined({"repair ", shownId, " begins; ", asker}));
    const Clock::time_point start = Clock::now();
    repairActions({id});
    const std::string seconds = secondsText(inMilliseconds(Clock::now() - start));
    const std::optional<int> status = statusOf(id);
    writeToLog(
        joined({"repair ", shownId, ": ", outcomeInLog(status), "; ", seconds, " s; ", asker}));
    tell(title + " " + outcomeForReader(status, seconds));
    return status == 0;
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
