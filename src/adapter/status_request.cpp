// SPDX-License-Identifier: MIT

#include "adapter/status_request.h"

#include "adapter/failure.h"
#include "exec/unique_fd.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace keldo::adapter {

namespace {

/// Gives no descriptor when nobody listens (yet).
UniqueFd connectTo(const std::string& socketPath) {
    UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return UniqueFd();
    }
    return connection;
}

} // namespace

std::optional<std::string> requestStatus(const std::string& socketPath, const Watch& watch,
                                         Clock::time_point deadline) {
    constexpr std::string_view request = "GET /_status?format=xml HTTP/1.0\r\n"
                                         "Authorization: Basic bW9uaXQ6bW9uaXQ=\r\n\r\n";
    const UniqueFd connection = connectTo(socketPath);
    if (!connection || send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
                           static_cast<ssize_t>(request.size())) {
        return std::nullopt;
    }
    std::string answer;
    std::array<char, 16384> buffer{};
    for (;;) {
        if (watch.wait(connection.get(), deadline) != Wake::ready) {
            return std::nullopt;
        }
        const ssize_t count = recv(connection.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            break;
        }
        answer.append(buffer.data(), static_cast<size_t>(count));
    }
    const std::string statusLine = answer.substr(0, answer.find('\r'));
    if (!answer.empty() && statusLine.find(" 200 ") == std::string::npos) {
        throw Failure("unexpected answer of the monitor -- " + statusLine);
    }
    const size_t documentBegin = answer.find("\r\n\r\n");
    // Half a document would be a document of which services are missing.
    if (documentBegin == std::string::npos ||
        answer.find("</monit>", documentBegin) == std::string::npos) {
        return std::nullopt;
    }
    return answer.substr(documentBegin);
}

} // namespace keldo::adapter
