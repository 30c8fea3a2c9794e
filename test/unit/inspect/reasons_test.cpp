// SPDX-License-Identifier: MIT

#include "inspect/reasons.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace keldo::inspect {

TEST(Reason, NamesTheTestThatFailed) {
    const inspect::Test port{TestKind::port, "", 80, "TCP", "", TestState::failed};
    const inspect::Test http{TestKind::port, "", 80, "TCP", "http", TestState::failed};
    const inspect::Test socket{TestKind::unixSocket, "/run/s", 0, "", "", TestState::failed};
    const std::tuple<const char*, inspect::Test, const char*> rows[] = {
        {"refused", port, "Nothing listens on port 80: connection refused."},
        {"refused", http, "Nothing listens on port 80 (http): connection refused."},
        {"refused", socket, "Nothing listens on the unix socket /run/s: connection refused."},
        {"no_socket", socket, "There is no unix socket /run/s."},
        {"timed_out", port, "Port 80 gave no answer in time."},
        {"timed_out", http, "Port 80 (http) gave no answer in time."},
        {"timed_out", socket, "The unix socket /run/s gave no answer in time."},
        {"wrong_answer", port, "Port 80 did not answer as it should."},
        {"wrong_answer", http, "Port 80 did not answer in the protocol http."},
        {"wrong_answer", socket, "The unix socket /run/s did not answer as it should."},
    };
    for (const auto& [code, test, text] : rows) {
        SCOPED_TRACE(text);
        const Reason reason = reasonOfTest(code, test);
        EXPECT_EQ(reason.code, code);
        EXPECT_EQ(reason.text.text, text);
        EXPECT_EQ(reason.text.lang, "en-US");
    }
}

TEST(Reason, HasASentenceForEachErrorOfAFile) {
    const std::pair<int, const char*> rows[] = {
        {ENOSPC, "no_space"},     {EDQUOT, "over_quota"},    {EROFS, "read_only"},
        {ENOENT, "no_directory"}, {ENOTDIR, "no_directory"}, {EACCES, "no_access"},
        {EPERM, "no_access"},     {EIO, "no_control_file"},
    };
    for (const auto& [error, code] : rows) {
        SCOPED_TRACE(code);
        EXPECT_EQ(codeOfFileError(error), code);
        const Reason why = reason(code, Subject::general, Substitution{"<path>", "/t"});
        EXPECT_NE(why.text.text.find("/t"), std::string::npos) << why.text.text;
    }
}

} // namespace keldo::inspect
