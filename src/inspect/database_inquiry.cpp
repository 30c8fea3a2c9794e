// SPDX-License-Identifier: MIT

#include "inspect/database_inquiry.h"

#include "diag/action_log.h"
#include "diag/database_probe.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace keldo::inspect {

namespace {

constexpr std::size_t outputLimit = 16U << 20U;

// Each message of the child is a letter, a text without NUL, and a NUL.
constexpr char connected = 'c';
constexpr char notConnected = 'e';
constexpr char errorText = 't';
constexpr char startedService = 's';
constexpr char stoppedService = 'p';
constexpr char logFailed = 'f';
constexpr char logRead = 'l';

void tell(int output, char kind, std::string_view text = "") {
    std::string message(1, kind);
    message += text.substr(0, text.find('\0'));
    message += '\0';
    for (std::string_view rest = message; !rest.empty();) {
        const ssize_t count = write(output, rest.data(), rest.size());
        if (count <= 0) {
            _exit(1); // the parent sees an incomplete answer
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
}

void askInChild(int output) {
    const DatabaseProbe probe = probeDatabase();
    if (!probe.isConnected) {
        tell(output, notConnected, std::to_string(probe.errorNumber));
        tell(output, errorText, probe.error);
        return;
    }
    tell(output, connected);
    try {
        ActionLog log;
        for (const std::string& id : log.lastStarted()) { // valid even if the rest fails
            tell(output, startedService, id);
        }
        for (const std::string& id : log.lastStopped()) {
            tell(output, stoppedService, id);
        }
        tell(output, logRead);
    } catch (const std::exception& error) {
        tell(output, logFailed, error.what());
    }
}

/// Whether the error arose on this host before the server was asked: there is no password, no
/// client library, no socket or no memory.
bool isOwnError(const std::string& number) {
    return number == "0" || number == "2001" || number == "2004" || number == "2008";
}

/// The code of the reason for an error number of the client library.
std::string codeOfError(const std::string& number) {
    for (const char* const noServer : {"2002", "2003"}) {
        if (number == noServer) {
            return "database_refused";
        }
    }
    for (const char* const denied : {"1044", "1045", "1698"}) {
        if (number == denied) {
            return "database_denied";
        }
    }
    return "database_failed";
}

void readMessage(std::string_view message, DatabaseAnswer& answer) {
    const std::string text(message.substr(1));
    switch (message.front()) {
    case connected:
        answer.isConnected = true;
        break;
    case notConnected:
        answer.code = codeOfError(text);
        answer.isKnown = !isOwnError(text);
        break;
    case errorText:
        answer.detail = text;
        break;
    case startedService:
        answer.started.push_back(text);
        break;
    case stoppedService:
        answer.stopped.push_back(text);
        break;
    case logFailed:
        answer.logDetail = text;
        break;
    case logRead:
        answer.isLogRead = true;
        break;
    }
}

/// A child that was ended before its whole time was over, or that ended by itself without an
/// answer, proves nothing about the database.
void readAnswerOfChild(const ChildResult& result, bool hasFullTime, DatabaseAnswer& answer) {
    std::string_view rest = result.output;
    for (std::size_t end = 0; (end = rest.find('\0')) != std::string_view::npos;) {
        if (end > 0) {
            readMessage(rest.substr(0, end), answer);
        }
        rest.remove_prefix(end + 1);
    }
    if (!answer.isConnected && answer.code.empty()) {
        answer.isKnown = result.hasTimedOut && hasFullTime;
        if (result.hasTimedOut) {
            answer.code = hasFullTime ? "database_silent" : "limit";
        } else {
            answer.code = "database_failed";
            answer.detail = "the process that asks the database ended early";
        }
    }
    answer.duration = result.duration;
}

} // namespace

void askDatabase(EventLoop& loop, Clock::time_point deadline, DatabaseAnswer& answer,
                 Clock::duration limit) {
    const auto end = Clock::now() + limit;
    loop.add(Child::call(askInChild, outputLimit), std::min(deadline, end),
             [&answer, hasFullTime = end <= deadline](const ChildResult& result) {
                 readAnswerOfChild(result, hasFullTime, answer);
             });
}

} // namespace keldo::inspect
