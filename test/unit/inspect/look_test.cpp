// SPDX-License-Identifier: MIT

#include "inspect/look.h"

#include "failing_call.h"
#include "listening_port.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/un.h>

namespace keldo::inspect {

namespace {

Listener lookAtSocketFile(const std::string& path) {
    return lookAt({TestKind::unixSocket, path, 0, "", "", TestState::failed});
}

Listener lookAtTcpPort(std::uint32_t number) {
    return lookAt({TestKind::port, "", number, "TCP", "", TestState::failed});
}

} // namespace

TEST(LookAt, TellsWhetherAnybodyListensOnAPort) {
    const ListeningPort listening;
    EXPECT_EQ(lookAtTcpPort(listening.port()), Listener::listens);
    EXPECT_EQ(lookAtTcpPort(ListeningPort::freePort()), Listener::none);
    EXPECT_EQ(lookAtTcpPort(65536 + listening.port()), Listener::none);
}

TEST(LookAt, TellsWhetherAnybodyListensOnASocket) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() / "socket";
    EXPECT_EQ(lookAtSocketFile(path), Listener::noSocket);
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

TEST(LookAt, AccusesNobodyIfItCannotConnect) {
    const FailingCall noSocket("socket", EMFILE);
    EXPECT_EQ(lookAtTcpPort(ListeningPort::freePort()), Listener::listens);
    EXPECT_EQ(lookAtSocketFile("/none"), Listener::listens);
}

} // namespace keldo::inspect
