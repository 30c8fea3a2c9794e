// SPDX-License-Identifier: MIT

#include "inspect/reasons.h"

#include "conf/assertion.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>

namespace keldo::inspect {

namespace {

struct Sentence {
    std::string_view code;
    Subject subject;
    const char* text;
};

/// Marks a text for the translators' template; it is translated when it is used.
constexpr const char* marked(const char* text) {
    return text;
}

const Sentence sentences[] = {
    {"passed", Subject::general, marked("All tests passed.")},
    {"no_process", Subject::general,
     // Translators: here and below, each <placeholder> is replaced by a number, a path or a name;
     // keep it as it is.
     marked("The pid file <path> names no running process.")},
    {"zombie", Subject::general,
     marked("The process that the pid file <path> names is a zombie: it has ended, but its parent "
            "has not waited for it.")},
    {"stopped_process", Subject::general,
     marked("The process that the pid file <path> names is stopped.")},
    {"refused", Subject::port, marked("Nothing listens on port <port>: connection refused.")},
    {"refused", Subject::protocolPort,
     marked("Nothing listens on port <port> (<protocol>): connection refused.")},
    {"refused", Subject::socket,
     marked("Nothing listens on the unix socket <path>: connection refused.")},
    {"no_socket", Subject::socket, marked("There is no unix socket <path>.")},
    {"timed_out", Subject::port, marked("Port <port> gave no answer in time.")},
    {"timed_out", Subject::protocolPort,
     marked("Port <port> (<protocol>) gave no answer in time.")},
    {"timed_out", Subject::socket, marked("The unix socket <path> gave no answer in time.")},
    {"wrong_answer", Subject::port, marked("Port <port> did not answer as it should.")},
    {"wrong_answer", Subject::protocolPort,
     marked("Port <port> did not answer in the protocol <protocol>.")},
    {"wrong_answer", Subject::socket,
     marked("The unix socket <path> did not answer as it should.")},
    {"failed", Subject::general, marked("The monitor reports a failed test (status <status>).")},

    {"database_refused", Subject::general, marked("The database server refuses the connection.")},
    {"database_denied", Subject::general,
     marked("The database server rejects the administrator's password.")},
    {"database_silent", Subject::general, marked("The database server gave no answer in time.")},
    {"database_failed", Subject::general, marked("The database cannot be used.")},

    {"untestable", Subject::general,
     marked("The tests of this service cannot prove that it is up: nothing answered.")},
    {"monitor_missing", Subject::general, marked("The monitor <path> does not exist.")},
    {"monitor_not_executable", Subject::general, marked("The monitor <path> cannot be run.")},
    {"monitor_killed", Subject::general, marked("The monitor was killed by a signal.")},
    {"monitor_silent", Subject::general, marked("The monitor gave no answer in time.")},
    {"monitor_failed", Subject::general, marked("The monitor printed no answer.")},
    {"monitor_rubbish", Subject::general, marked("The monitor's answer cannot be read.")},
    {"not_named", Subject::general, marked("The monitor's answer does not name this service.")},
    {"named_twice", Subject::general,
     marked("The monitor's answer names this service more than once.")},
    {"unmonitored", Subject::general, marked("The monitor does not test this service.")},
    {"not_told", Subject::general,
     marked("The monitor does not tell whether it tests this service.")},
    {"not_tested", Subject::general, marked("The monitor did not finish its tests in time.")},
    {"limit", Subject::general,
     marked("The time limit of the inspection was reached before this service was checked.")},
    {"no_process_to_be_had", Subject::general, marked("The system cannot start another process.")},

    {"no_directory", Subject::general, marked("The directory <path> does not exist.")},
    {"no_space", Subject::general, marked("There is no space left in <path>.")},
    {"over_quota", Subject::general, marked("The disk quota for <path> is used up.")},
    {"read_only", Subject::general, marked("The file system of <path> is read-only.")},
    {"no_access", Subject::general, marked("Access to <path> is denied.")},
    {"no_control_file", Subject::general, marked("No control file can be written in <path>.")},

    {"definition_missing", Subject::general, marked("There is no service definition <path>.")},
    {"definition_no_file", Subject::general,
     marked("The service definition <path> is not a regular file.")},
    {"definition_unreadable", Subject::general,
     marked("The service definition <path> cannot be read.")},
    {"definition_ill_formed", Subject::general,
     marked("The service definition <path> is not well-formed XML, or has no id.")},
    {"definition_without_tests", Subject::general,
     marked("The service definition <path> has nothing that the monitor could test.")},
    {"definition_refused", Subject::general,
     marked("The monitor refuses the service definition <path>.")},
    {"definition_refused_line", Subject::general,
     marked("The monitor refuses line <line> of the service definition <path>.")},

    {"stopped_by_administrator", Subject::general,
     marked("The administrator stopped the service.")},
    {"upgrade", Subject::general,
     marked("Services are not checked while the panel is being upgraded.")},

    {"no_action_log", Subject::general,
     marked("It is not known which services the administrator started or stopped.")},
    {"upgrade_unknown", Subject::general,
     marked("It is not known whether the panel is being upgraded.")},
    {"default_configuration", Subject::general,
     marked("There is no configuration file <path>; the defaults apply.")},
    {"unreadable_configuration", Subject::general,
     marked("The configuration file <path> cannot be read; the defaults apply.")},
    {"no_definitions", Subject::general, marked("There are no service definitions in <path>.")},
};

Subject subjectOf(const Test& test) {
    if (test.kind == TestKind::unixSocket) {
        return Subject::socket;
    }
    return test.protocol.empty() ? Subject::port : Subject::protocolPort;
}

} // namespace

Reason reason(const std::string& code, Subject subject, const std::optional<Substitution>& first,
              const std::optional<Substitution>& second) {
    const auto* const found =
        std::ranges::find_if(sentences, [&code, subject](const Sentence& sentence) {
            return sentence.code == code && sentence.subject == subject;
        });
    KVR_ASSERT(found != std::end(sentences), "the code has a sentence");
    return {code, translateWith(found->text, first, second)};
}

Reason reasonOfTest(const std::string& code, const Test& test) {
    const Subject subject = subjectOf(test);
    if (subject == Subject::socket) {
        return reason(code, subject, Substitution{"<path>", test.path});
    }
    const Substitution port{"<port>", std::to_string(test.number)};
    return subject == Subject::port
               ? reason(code, subject, port)
               : reason(code, subject, port, Substitution{"<protocol>", test.protocol});
}

std::string codeOfFileError(int error) {
    switch (error) {
    case ENOSPC:
        return "no_space";
    case EDQUOT:
        return "over_quota";
    case EROFS:
        return "read_only";
    case ENOENT:
    case ENOTDIR:
        return "no_directory";
    case EACCES:
    case EPERM:
        return "no_access";
    default:
        return "no_control_file";
    }
}

} // namespace keldo::inspect
