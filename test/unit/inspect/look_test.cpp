// SPDX-License-Identifier: MIT

#include "inspect/look.h"

#include "failing_call.h"
#include "listening_port.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/un.h>

namespace keldo::inspect {

namespace {

Listener lookAtSocketFile(const std::string& path) {
    return lookAt({TestKind::unixSocket, path, 0, "", "", TestState::failed});
}

Listener lookAtPort(std::uint32_t number, const char* type = "TCP") {
    return lookAt({TestKind::port, "", number, type, "", TestState::failed});
}

} // namespace

TEST(LookAt, TellsWhetherAnybodyListensOnAPort) {
    const ListeningPort listening;
    EXPECT_EQ(lookAtPort(listening.port()), Listener::listens);
    EXPECT_EQ(lookAtPort(ListeningPort::freePort()), Listener::none);
    EXPECT_EQ(lookAtPort(65536 + listening.port()), Listener::none);
}

TEST(LookAt, TellsWhetherAnybodyReadsDatagrams) {
    UniqueFd server(socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(server.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    getsockname(server.get(), reinterpret_cast<sockaddr*>(&address), &size);
    const std::uint32_t number = ntohs(address.sin_port);
    EXPECT_EQ(lookAtPort(number, "UDP"), Listener::listens);
    server.reset();
    EXPECT_EQ(lookAtPort(number, "UDP"), Listener::none);
}

TEST(LookAt, TellsWhetherAnybodyListensOnASocket) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() / "socket";
    EXPECT_EQ(lookAtSocketFile(path), Listener::noSocket);
    EXPECT_EQ(lookAtSocketFile("/dev/null/socket"), Listener::noSocket);
    EXPECT_EQ(lookAtSocketFile("/dev/null"), Listener::none);
    const UniqueFd server(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(lookAtSocketFile(path), Listener::none);
    listen(server.get(), 1);
    EXPECT_EQ(lookAtSocketFile(path), Listener::listens);
    EXPECT_EQ(lookAtSocketFile(std::string(sizeof address.sun_path, '/')), Listener::noSocket);
}

TEST(LookAt, AssumesAListenerIfNoSocketCanBeMade) {
    const FailingCall noSocket("socket", EMFILE);
    EXPECT_EQ(lookAtPort(ListeningPort::freePort()), Listener::listens);
    EXPECT_EQ(lookAtSocketFile("/none"), Listener::listens);
}

TEST(IsProcessStopped, IsFalseWithoutAProcess) {
    const test::TemporaryDirectory directory;
    for (const char* const content : {"", " \t", "x", "0", "-1", "2147483647"}) {
        SCOPED_TRACE(content);
        EXPECT_FALSE(isProcessStopped(directory.write("pid", content)));
    }
    EXPECT_FALSE(isProcessStopped("/nowhere"));
    EXPECT_FALSE(isProcessStopped("/dev/zero")); // would never end
}

} // namespace keldo::inspect
