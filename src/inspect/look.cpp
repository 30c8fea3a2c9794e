// SPDX-License-Identifier: MIT

#include "inspect/look.h"

#include "exec/unique_fd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

constexpr std::uint32_t highestPort = 65535;

/// Waits for a pending connection. Returns its error number, or 0. The wait is short, since this
/// host refuses a connection within a moment.
int laterError(int connection) {
    constexpr int momentInMilliseconds = 100;
    pollfd polled{connection, POLLOUT, 0};
    int error = 0;
    socklen_t size = sizeof error;
    if (poll(&polled, 1, momentInMilliseconds) == 1) {
        getsockopt(connection, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    return error;
}

template <typename Address> int connectError(const UniqueFd& connection, const Address& address) {
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
        0) {
        return 0;
    }
    return errno == EINPROGRESS ? laterError(connection.get()) : errno;
}

UniqueFd makeSocket(int family, int type) {
    return UniqueFd(socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

/// Sends twice: the refusal of the first datagram shows as an error of the second call.
int datagramError(const UniqueFd& connection) {
    return send(connection.get(), "", 0, MSG_NOSIGNAL) == -1 ||
                   send(connection.get(), "", 0, MSG_NOSIGNAL) == -1
               ? errno
               : 0;
}

bool isRefusedAt(const Test& test, const auto& address, int family) {
    const bool isUdp = test.type == "UDP";
    const UniqueFd connection = makeSocket(family, isUdp ? SOCK_DGRAM : SOCK_STREAM);
    int error = connectError(connection, address);
    if (error == 0 && isUdp) {
        error = datagramError(connection);
    }
    return error == ECONNREFUSED || error == EADDRNOTAVAIL || error == EAFNOSUPPORT;
}

/// Tries both addresses of localhost, as the monitor does.
Listener lookAtPort(const Test& test) {
    if (test.number > highestPort) {
        return Listener::none;
    }
    const in_port_t port = htons(static_cast<in_port_t>(test.number));
    sockaddr_in four{};
    four.sin_family = AF_INET;
    four.sin_port = port;
    four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 six{};
    six.sin6_family = AF_INET6;
    six.sin6_port = port;
    six.sin6_addr = in6addr_loopback;
    return isRefusedAt(test, four, AF_INET) && isRefusedAt(test, six, AF_INET6) ? Listener::none
                                                                                : Listener::listens;
}

Listener lookAtSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return Listener::noSocket;
    }
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    switch (connectError(makeSocket(AF_UNIX, SOCK_STREAM), address)) {
    case ENOENT:
    case ENOTDIR:
        return Listener::noSocket;
    case ECONNREFUSED:
    case ENOTSOCK:
        return Listener::none;
    default:
        return Listener::listens;
    }
}

/// The first bytes of a regular file; empty for anything else, so that nothing can block.
std::string beginningOf(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return "";
    }
    std::array<char, 512> bytes{};
    const ssize_t count = read(file.get(), bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// The number at the beginning of a pid file, after the white space and the sign that the monitor
/// skips.
std::optional<long> pidIn(const std::string& text) {
    auto begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    begin += text.compare(begin, 1, "+") == 0 ? 1 : 0;
    long pid = 0;
    const auto [end, error] = std::from_chars(text.data() + begin, text.data() + text.size(), pid);
    return error == std::errc() && pid > 0 ? std::optional(pid) : std::nullopt;
}

} // namespace

Listener lookAt(const Test& test) {
    return test.kind == TestKind::unixSocket ? lookAtSocket(test.path) : lookAtPort(test);
}

NamedProcess lookAtProcess(const std::string& pidFile) {
    const auto pid = pidIn(beginningOf(pidFile));
    if (!pid) {
        return NamedProcess::running;
    }
    const std::string number = std::to_string(*pid);
    const std::string status = beginningOf("/proc/" + number + "/status");
    if (status.find("\nTgid:\t") != std::string::npos &&
        status.find("\nTgid:\t" + number + "\n") == std::string::npos) {
        return NamedProcess::none;
    }
    return status.find("\nState:\tT") != std::string::npos ? NamedProcess::stopped
                                                           : NamedProcess::running;
}

} // namespace keldo::inspect
