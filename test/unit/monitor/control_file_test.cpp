// SPDX-License-Identifier: MIT

#include "monitor/control_file.h"

#include "monitor/forced_failures.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "support/flush_recorder.h"

#include <clocale>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// The texts written to control files, one for each call of write().
std::vector<std::string> controlFileWrites;

/// The descriptors whose mode was changed.
std::vector<int> changedModes;

bool isControlFile(int fd) {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error);
    return path.filename().string().starts_with("monitrc");
}

} // namespace

extern "C" int fchmod(int fd, mode_t mode) noexcept {
    changedModes.push_back(fd);
    return static_cast<int>(syscall(SYS_fchmod, fd, mode));
}

// Replaces the C library's function, for the C++ library's file streams too.
extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
    if (isControlFile(fd)) {
        controlFileWrites.emplace_back(static_cast<const char*>(bytes), size);
    }
    return syscall(SYS_write, fd, bytes, size);
}

namespace keldo {
namespace {

using test::FlushRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

TEST(PortTestLine, NamesPortTypeAndProtocol) {
    const struct {
        PortCheck port;
        const char* line;
    } rows[] = {
        {{PortType::TCP, 25, ""}, "if failed port 25 then alert"},
        {{PortType::TCP, 25, "smtp"}, "if failed port 25 protocol smtp then alert"},
        {{PortType::UDP, 53, ""}, "if failed port 53 type UDP  then alert"},
        {{PortType::UDP, 53, "dns"}, "if failed port 53 type UDP  protocol dns then alert"},
        {{PortType::TCPSSL, 443, ""}, "if failed port 443 type TCPSSL  then alert"},
        {{PortType::TCPSSL, 993, "imap"},
         "if failed port 993 type TCPSSL  protocol imap then alert"},
        {{PortType::TCP, 4294967295U, ""}, "if failed port 4294967295 then alert"},
        {{PortType::TCP, 80, "a \"b\""}, "if failed port 80 protocol a \"b\" then alert"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.line, portTestLine(row.port));
    }
}

TEST(PortTestLine, HasNoDigitGroupingInAnyLocale) {
    test::selectLocale("utf8", "de_DE");
    EXPECT_EQ("if failed port 1234567 then alert", portTestLine({PortType::TCP, 1234567, ""}));
    std::setlocale(LC_ALL, "C");
}

/// Sends lines to a stream, and returns what the stream holds at each flush.
std::vector<std::string> flushesOf(const std::function<void(std::ostream&)>& write) {
    FlushRecorder buffer;
    std::ostream stream(&buffer);
    write(stream);
    return buffer.flushes;
}

TEST(WriteTests, WriteAndFlushEachLine) {
    const std::string port = "> if failed port 2 then alert\n";
    EXPECT_THAT(flushesOf([](std::ostream& stream) {
                    writePortTests({{PortType::TCP, 2, ""}, {PortType::TCP, 1, "x"}}, stream, "> ");
                }),
                ElementsAre(port, port + "> if failed port 1 protocol x then alert\n"));
    const std::string socket = "> if failed unixsocket /b then alert\n";
    EXPECT_THAT(flushesOf([](std::ostream& stream) {
                    writeUnixSocketTests({{"/b", "http"}, {"a \"b\"", ""}}, stream, "> ");
                }),
                ElementsAre(socket, socket + "> if failed unixsocket a \"b\" then alert\n"));
    EXPECT_THAT(flushesOf([](std::ostream& stream) {
                    writePortTests({}, stream, "> ");
                    writeUnixSocketTests({}, stream, "> ");
                }),
                IsEmpty());
}

class WriteMonitorConfig : public testing::Test {
protected:
    WriteMonitorConfig() { controlFileWrites.clear(); }

    static std::string written(const ServiceDefinition& definition) {
        return test::contentOf(writeMonitorConfig(definition));
    }

    static ServiceDefinition service(const std::string& id, const std::string& pidFile,
                                     const std::vector<UnixSocketCheck>& sockets = {},
                                     const std::vector<PortCheck>& ports = {}) {
        ServiceDefinition definition;
        definition.id = id;
        definition.pidFile = pidFile;
        definition.unixSockets = sockets;
        definition.ports = ports;
        return definition;
    }

    test::FakePanel panel;
    test::ForcedFailuresEnd failuresEnd;
};

TEST_F(WriteMonitorConfig, WritesTheControlFileOfTheDefinition) {
    const std::pair<ServiceDefinition, std::string> table[] = {
        {service("web", "/var/run/httpd.pid", {{"/var/run/web.sock", "http"}},
                 {{PortType::TCP, 80, "http"}, {PortType::TCPSSL, 443, ""}}),
         "check process web\n"
         "\twith pidfile \"/var/run/httpd.pid\"\n"
         "\tif failed unixsocket /var/run/web.sock then alert\n"
         "\tif failed port 80 protocol http then alert\n"
         "\tif failed port 443 type TCPSSL  then alert\n"},
        {service("web", "/run/web.pid"), "check process web\n\twith pidfile \"/run/web.pid\"\n"},
        {service("x", "p", {{"/2", ""}, {"/1", ""}},
                 {{PortType::TCP, 2, ""}, {PortType::TCP, 1, ""}}),
         "check process x\n"
         "\twith pidfile \"p\"\n"
         "\tif failed unixsocket /2 then alert\n"
         "\tif failed unixsocket /1 then alert\n"
         "\tif failed port 2 then alert\n"
         "\tif failed port 1 then alert\n"},
        {service("dns", "", {{"/var/run/ndc", ""}},
                 {{PortType::UDP, 53, "dns"}, {PortType::TCP, 53, ""}}),
         "check host dns\n"
         "\twith address 127.0.0.1\n"
         "\tif failed port 53 type UDP  protocol dns then alert\n"
         "\tif failed port 53 then alert\n"},
        {service("smtp", "", {}, {{PortType::TCP, 25, "smtp"}}),
         "check host smtp\n"
         "\twith address 127.0.0.1\n"
         "\tif failed port 25 protocol smtp then alert\n"},
        {service("x", "", {{"/1", ""}, {"/2", ""}}), ""},
        {ServiceDefinition(), ""},
        {service("a \"b\"", "/run/\"x\"\n"),
         "check process a \"b\"\n\twith pidfile \"/run/\"x\"\n\"\n"},
    };
    for (const auto& [definition, text] : table) {
        EXPECT_EQ(text, written(definition));
    }
}

TEST_F(WriteMonitorConfig, FlushesAfterEachLine) {
    writeMonitorConfig(service("x", "p", {{"/1", ""}}, {{PortType::TCP, 1, ""}}));
    writeMonitorConfig(service("y", "", {}, {{PortType::TCP, 2, ""}}));
    EXPECT_THAT(controlFileWrites,
                ElementsAre("check process x\n", "\twith pidfile \"p\"\n",
                            "\tif failed unixsocket /1 then alert\n",
                            "\tif failed port 1 then alert\n", "check host y\n",
                            "\twith address 127.0.0.1\n", "\tif failed port 2 then alert\n"));
}

TEST_F(WriteMonitorConfig, CreatesANewPrivateFileInTheTmpFolderOfThePanel) {
    const mode_t oldMask = umask(0);
    const std::string first = writeMonitorConfig(service("x", "p"));
    umask(0777);
    const std::string second = writeMonitorConfig(service("x", "p"));
    umask(oldMask);
    EXPECT_NE(first, second);
    for (const std::string& path : {first, second}) {
        const std::string start = panel.root().string() + "/tmp/monitrc";
        ASSERT_TRUE(path.starts_with(start)) << path;
        EXPECT_THAT(path.substr(start.size()), MatchesRegex("[A-Za-z0-9]{6}"));
        struct stat status = {};
        ASSERT_EQ(0, stat(path.c_str(), &status));
        EXPECT_EQ(S_IFREG | 0600U, status.st_mode);
    }
}

size_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TEST_F(WriteMonitorConfig, LeavesNoDescriptorOpen) {
    const size_t before = openDescriptors();
    writeMonitorConfig(service("x", "p"));
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(WriteMonitorConfig, ReturnsAnEmptyPathWithoutMemoryForIt) {
    test::forcedFailures.controlFileName = true;
    EXPECT_EQ("", writeMonitorConfig(service("x", "p")));
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

TEST_F(WriteMonitorConfig, ReturnsAPathWithoutAFileIfMkstempFails) {
    std::filesystem::remove(panel.root() / "tmp");
    changedModes.clear();
    const std::string path = writeMonitorConfig(service("x", "p"));
    EXPECT_TRUE(path.starts_with(panel.root().string() + "/tmp/monitrc")) << path;
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_THAT(changedModes, IsEmpty());
}

} // namespace
} // namespace keldo
