// SPDX-License-Identifier: MIT

#include "inspect/look.h"

#include "failing_call.h"
#include "listening_port.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

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

TEST(LookAtProcess, SeesAStoppedProcessInEachFormThatTheMonitorReads) {
    const test::TemporaryDirectory directory;
    const pid_t child = fork();
    if (child == 0) {
        raise(SIGSTOP);
        _exit(0);
    }
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(child), &info, WSTOPPED);
    for (const char* const before : {"", "0", "+", " \t", "\n", "\r\n\v\f+"}) {
        SCOPED_TRACE(before);
        EXPECT_EQ(lookAtProcess(directory.write("pid", before + std::to_string(child) + "\n")),
                  NamedProcess::stopped);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(LookAtProcess, SeesThatTheNumberIsOfAThread) {
    const test::TemporaryDirectory directory;
    const auto look = [&directory](pid_t number) {
        return lookAtProcess(directory.write("pid", std::to_string(number)));
    };
    EXPECT_EQ(look(getpid()), NamedProcess::running);
    std::thread([&look] { EXPECT_EQ(look(gettid()), NamedProcess::none); }).join();
}

TEST(LookAtProcess, AssumesARunningProcessIfItSeesNone) {
    const test::TemporaryDirectory directory;
    for (const char* const content : {"", " \t", "x", "0", "-1", "2147483647"}) {
        SCOPED_TRACE(content);
        EXPECT_EQ(lookAtProcess(directory.write("pid", content)), NamedProcess::running);
    }
    EXPECT_EQ(lookAtProcess("/nowhere"), NamedProcess::running);
    EXPECT_EQ(lookAtProcess("/dev/zero"), NamedProcess::running); // would never end
}

} // namespace keldo::inspect
