// SPDX-License-Identifier: MIT

#include "adapter/status_request.h"

#include "exec/unique_fd.h"
#include "failure_of.h"
#include "support/temporary_directory.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

/// Called before each request is sent, if set.
std::function<void()> beforeSend;

} // namespace

extern "C" {

ssize_t __real_send(int connection, const void* bytes, size_t length, int flags);
ssize_t __wrap_send(int connection, const void* bytes, size_t length, int flags);

ssize_t __wrap_send(int connection, const void* bytes, size_t length, int flags) {
    if (beforeSend) {
        beforeSend();
    }
    return __real_send(connection, bytes, length, flags);
}
}

namespace keldo::adapter {
namespace {

using namespace std::string_literals;

TEST(DocumentInAnswer, IsTheTextAfterTheHeader) {
    const std::string begin = "HTTP/1.0 200 OK\r\nServer: monit\r\n\r\n";
    const std::vector<std::pair<std::string, std::optional<std::string>>> rows = {
        {begin + "<monit>\r\n\r\n</monit>", "<monit>\r\n\r\n</monit>"},
        {begin + "<monit></monit>\n\n", "<monit></monit>\n\n"},
        {begin + "<monit>", std::nullopt},
        {begin, std::nullopt},
        {"HTTP/1.0 200 OK\r\n</monit>", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [answer, document] : rows) {
        SCOPED_TRACE(answer);
        EXPECT_EQ(documentInAnswer(answer), document);
    }
}

TEST(DocumentInAnswer, ThrowsTheStatusLineOfARefusal) {
    for (const std::string line : {"HTTP/1.0 401 Unauthorized", "nonsense", "HTTP/1.0 2000 x"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(test::failureOf([&] { documentInAnswer(line + "\r\n\r\n<monit></monit>"); }),
                  "unexpected answer of the monitor -- " + line);
    }
}

/// A server for one request.
class RequestStatus : public testing::Test {
protected:
    RequestStatus() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    /// Reads a request, answers it and returns it.
    std::string serve(const std::string& answer) const {
        const UniqueFd connection(accept(server.get(), nullptr, nullptr));
        std::array<char, 1000> request{};
        const ssize_t length = read(connection.get(), request.data(), request.size());
        EXPECT_EQ(write(connection.get(), answer.data(), answer.size()),
                  static_cast<ssize_t>(answer.size()));
        return {request.data(), static_cast<size_t>(length)};
    }

    const test::TemporaryDirectory directory;
    const std::string path = directory.path() / "socket";
    const UniqueFd server{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const Watch watch;
    const Clock::time_point later = Clock::now() + std::chrono::hours(1);
};

TEST_F(RequestStatus, AsksAndReturnsTheWholeDocument) {
    listen(server.get(), 1);
    const std::string document = "<monit>" + std::string(50000, 'x') + "</monit>";
    std::string request;
    std::thread thread([&] { request = serve("HTTP/1.0 200 OK\r\n\r\n" + document); });
    EXPECT_EQ(requestStatus(path, watch, later), document);
    thread.join();
    EXPECT_EQ(request, "GET /_status?format=xml HTTP/1.0\r\n"
                       "Authorization: Basic bW9uaXQ6bW9uaXQ=\r\n\r\n");
}

TEST_F(RequestStatus, ReturnsNothingWithoutAListener) {
    EXPECT_EQ(requestStatus(path, watch, later), std::nullopt);
    EXPECT_EQ(requestStatus(path + "s", watch, later), std::nullopt);
}

TEST_F(RequestStatus, ReturnsNothingIfTheServerHangsUpBeforeTheRequest) {
    listen(server.get(), 1);
    beforeSend = [&] { UniqueFd(accept(server.get(), nullptr, nullptr)); };
    EXPECT_EQ(requestStatus(path, watch, later), std::nullopt);
    beforeSend = nullptr;
}

TEST_F(RequestStatus, ReturnsNothingAtTheDeadline) {
    listen(server.get(), 1);
    EXPECT_EQ(requestStatus(path, watch, Clock::now()), std::nullopt);
}

} // namespace
} // namespace keldo::adapter
