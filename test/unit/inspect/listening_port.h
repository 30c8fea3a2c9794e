// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"

#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>

namespace keldo::inspect {

/// Listens on a free port of this host, and answers nothing.
class ListeningPort {
public:
    ListeningPort() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        bindTo(socket_.get());
        listen(socket_.get(), 16);
    }

    std::uint32_t port() const { return portOf(socket_.get()); }

    /// A port that nobody listens on: it was free a moment ago.
    static std::uint32_t freePort() {
        const UniqueFd other(socket(AF_INET, SOCK_STREAM, 0));
        bindTo(other.get());
        return portOf(other.get());
    }

private:
    static void bindTo(int descriptor) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    static std::uint32_t portOf(int descriptor) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
        return ntohs(address.sin_port);
    }

    UniqueFd socket_;
};

} // namespace keldo::inspect
