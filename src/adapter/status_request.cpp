// SPDX-License-Identifier: MIT

#include "adapter/status_request.h"

#include "adapter/file.h"
#include "exec/unique_fd.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace keldo::adapter {

namespace {

/// Returns no descriptor if nobody listens yet.
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

/// Returns false if the monitor does not take the whole text at once.
bool sendWhole(int connection, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = send(connection, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

std::optional<std::string> requestStatus(const std::string& socketPath, const Watch& watch,
                                         Clock::time_point deadline) {
    constexpr std::string_view request = "GET /_status?format=xml HTTP/1.0\r\n"
                                         "Authorization: Basic bW9uaXQ6bW9uaXQ=\r\n\r\n";
    const UniqueFd connection = connectTo(socketPath);
    if (!connection || !sendWhole(connection.get(), request)) {
        return std::nullopt;
    }
    std::string answer;
    std::array<char, 16384> buffer;
    while (watch.wait(connection.get(), deadline)) {
        const ssize_t count = recv(connection.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            return documentInAnswer(answer);
        }
        answer.append(buffer.data(), static_cast<size_t>(count));
    }
    return std::nullopt;
}

std::optional<std::string> documentInAnswer(std::string_view answer) {
    const std::string_view statusLine = answer.substr(0, answer.find('\r'));
    if (!answer.empty() && statusLine.find(" 200 ") == std::string_view::npos) {
        throw Failure("unexpected answer of the monitor -- " + std::string(statusLine));
    }
    constexpr std::string_view headerEnd = "\r\n\r\n";
    const size_t at = answer.find(headerEnd);
    // An incomplete document would lack services.
    if (at == std::string_view::npos || answer.find("</monit>", at) == std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(answer.substr(at + headerEnd.size()));
}

} // namespace keldo::adapter
