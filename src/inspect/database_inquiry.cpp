// SPDX-License-Identifier: MIT

#include "inspect/database_inquiry.h"

#include "diag/action_log.h"
#include "diag/database_probe.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <exception>
#include <iterator>
#include <string_view>
#include <unistd.h>

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

/// The client library's errors that show what the server did.
constexpr int errorsOfServer[] = {
    2002, 2003,             // nobody accepts the connection
    2006, 2013, 2055,       // the server closed it
    2007, 2012, 2026, 2027, // its answer breaks the protocol
    2049, 2059, 5010,       // it asks for an authentication that the library refuses
};

/// Whether the error comes from the server or shows what it did. The library's other errors arise
/// on this host: there is no password, no client library or no memory. 2061 is one of these: the
/// library of MariaDB 11.8.9 reports it if there is no memory to hash the password.
bool isAboutServer(int number) {
    const bool isSentByServer =
        (number >= 1000 && number < 2000) || (number >= 3000 && number < 5000);
    return isSentByServer || std::ranges::find(errorsOfServer, number) != std::end(errorsOfServer);
}

/// Text that does not start with a number counts as 0.
int leadingNumber(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// Whether this host lacks memory or descriptors. The client library then fails as if nobody
/// accepted the connection, but its message ends with the system's error: "... (12)".
bool isShortOfResources(std::string_view message) {
    const std::size_t start = message.rfind('(');
    const int error =
        start == std::string_view::npos ? 0 : leadingNumber(message.substr(start + 1));
    return error == ENOMEM || error == ENOBUFS || error == EMFILE || error == ENFILE;
}

/// The code of the reason for an error of the client library.
std::string codeOfError(int number) {
    switch (number) {
    case 2002:
    case 2003:
        return "database_refused";
    case 1044:
    case 1045:
    case 1698:
        return "database_denied";
    default:
        return "database_failed";
    }
}

void readErrorNumber(int number, DatabaseAnswer& answer) {
    answer.code = codeOfError(number);
    answer.isKnown = isAboutServer(number);
}

void readErrorText(const std::string& text, DatabaseAnswer& answer) {
    answer.detail = text;
    if (isShortOfResources(text)) {
        answer.code = "database_failed";
        answer.isKnown = false;
    }
}

void readMessage(std::string_view message, DatabaseAnswer& answer) {
    const std::string text(message.substr(1));
    switch (message.front()) {
    case connected:
        answer.isConnected = true;
        break;
    case notConnected:
        readErrorNumber(leadingNumber(text), answer);
        break;
    case errorText:
        readErrorText(text, answer);
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
