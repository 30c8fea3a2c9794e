// SPDX-License-Identifier: MIT

#include "fake_monit.h"

#include "exec/unique_fd.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<void(const keldo::test::FakeMonit::Call&)> program;
std::vector<std::string> directories;
int mkdtempError = 0;

std::vector<std::string> textsOf(char* const* texts) {
    std::vector<std::string> result;
    for (; *texts != nullptr; ++texts) {
        result.emplace_back(*texts);
    }
    return result;
}

} // namespace

extern "C" {
int __real_access(const char* path, int mode);
int __wrap_access(const char* path, int mode);
int __real_execve(const char* path, char* const* arguments, char* const* environment);
int __wrap_execve(const char* path, char* const* arguments, char* const* environment);
char* __real_mkdtemp(char* path);
char* __wrap_mkdtemp(char* path);
}

int __wrap_access(const char* path, int mode) {
    if (path != std::string_view("/usr/bin/monit")) {
        return __real_access(path, mode);
    }
    errno = ENOENT;
    return program ? 0 : -1;
}

int __wrap_execve(const char* path, char* const* arguments, char* const* environment) {
    if (path != std::string_view("/usr/bin/monit")) {
        return __real_execve(path, arguments, environment);
    }
    keldo::test::goodAllocations = -1;
    program({textsOf(arguments), textsOf(environment)});
    _exit(0);
}

char* __wrap_mkdtemp(char* path) {
    errno = mkdtempError;
    char* const made = mkdtempError != 0 ? nullptr : __real_mkdtemp(path);
    const int allocations = std::exchange(keldo::test::goodAllocations, -1);
    if (made != nullptr && std::string(made).find("/monit-check-status.") != std::string::npos) {
        directories.emplace_back(made);
    }
    keldo::test::goodAllocations = allocations;
    return made;
}

namespace keldo::test {

int goodAllocations = -1;

std::string FakeMonit::Call::file(const std::string& name) const {
    return std::filesystem::path(arguments.back()).replace_filename(name);
}

FakeMonit::FakeMonit(std::function<void(const Call&)> body) {
    program = std::move(body);
    std::fflush(nullptr); // otherwise the child would print the buffers of this process
}

FakeMonit::~FakeMonit() {
    program = nullptr;
}

void answerRequests(const FakeMonit::Call& call, const std::vector<std::string>& answers) {
    const UniqueFd server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    call.file("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(server.get(), 1);
    for (const std::string& answer : answers) {
        const UniqueFd connection(accept(server.get(), nullptr, nullptr));
        std::array<char, 4096> request{};
        static_cast<void>(!read(connection.get(), request.data(), request.size()));
        static_cast<void>(!write(connection.get(), answer.data(), answer.size()));
    }
    std::ofstream(call.file("answered")).close();
    hang();
}

void hang() {
    for (;;) {
        pause();
    }
}

std::string statusAnswer(const std::string& name, int status, int monitor) {
    return "HTTP/1.0 200 OK\r\nServer: monit\r\n\r\n<?xml version=\"1.0\"?><monit>"
           "<service type=\"3\"><name>" +
           name + "</name><collected_sec>1</collected_sec><status>" + std::to_string(status) +
           "</status><monitor>" + std::to_string(monitor) + "</monitor></service></monit>";
}

std::vector<std::string> directoriesLeft() {
    std::vector<std::string> left;
    for (const std::string& directory : directories) {
        if (std::filesystem::exists(directory)) {
            left.push_back(directory);
        }
    }
    return left;
}

void refuseDirectories(int error) {
    mkdtempError = error;
}

bool hasChild() {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace keldo::test
