// SPDX-License-Identifier: MIT

#include "inspect/control_files.h"

#include "failing_call.h"
#include "support/fake_panel.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

ServiceDefinition service(const std::string& id, const std::string& pidFile = "/a b.pid") {
    ServiceDefinition definition;
    definition.id = id;
    definition.pidFile = pidFile;
    return definition;
}

} // namespace

TEST(WriteControlFiles, PutsOneAfterAnotherIntoANewFile) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() / "1";
    const ServiceDefinition one = service("one");
    const ServiceDefinition two = service("two");
    EXPECT_EQ(writeControlFiles({&one, &two}, path), 0);
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), "check process one\n\twith pidfile \"/a b.pid\"\n"
                          "check process two\n\twith pidfile \"/a b.pid\"\n");
    struct stat status {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(writeControlFiles({&one}, path), EEXIST);
}

TEST(WriteControlFiles, ReturnsWhyTheFileCannotBeWrittenWhole) {
    const ServiceDefinition one = service("one");
    EXPECT_EQ(writeControlFiles({&one}, "/nowhere/1"), ENOENT);
    const test::TemporaryDirectory directory;
    const FailingCall failing("write", EDQUOT);
    EXPECT_EQ(writeControlFiles({&one}, directory.path() / "1"), EDQUOT);
}

TEST(WriteControlFiles, WritesOnAfterAnInterruption) {
    const ServiceDefinition one = service("one");
    const test::TemporaryDirectory directory;
    const FailingCall interrupted("write", EINTR, 1);
    EXPECT_EQ(writeControlFiles({&one}, directory.path() / "1"), 0);
}

TEST(ControlFileDirectory, IsRemovedIfTheProcessAborts) {
    const test::FakePanel panel;
    const ControlFileDirectory directory;
    EXPECT_TRUE(std::filesystem::exists(directory.path()));
    kill(getpid(), SIGABRT); // abort(3) would end the process after the handler
    EXPECT_FALSE(std::filesystem::exists(directory.path()));
}

TEST(BatchNames, TakeAnIdOnceWhateverItsCase) {
    BatchNames names;
    EXPECT_TRUE(names.take(service("web")));
    EXPECT_FALSE(names.take(service("WEB")));
    EXPECT_FALSE(names.take(service("web")));
    EXPECT_TRUE(names.take(service("web2")));
}

TEST(BatchNames, TakeOnlyValuesWithoutCharactersThatAreSpecialForMonit) {
    for (const char* id : {"", "a b", "a\"", "a#", "a\n", "a;", "\xC3\xA4", "a'"}) {
        SCOPED_TRACE(id);
        EXPECT_FALSE(BatchNames().take(service(id)));
    }
    for (const char* pidFile : {"/a\"b", "/a\nb", "/a'b", "/a\\b", "/a\x7F"}) {
        SCOPED_TRACE(pidFile);
        EXPECT_FALSE(BatchNames().take(service("web", pidFile)));
    }
    ServiceDefinition withSocket = service("web");
    withSocket.unixSockets = {{"/run/a b", ""}};
    EXPECT_FALSE(BatchNames().take(withSocket));
    ServiceDefinition withPort = service("web");
    withPort.ports = {{PortType::TCP, 80, "http then unmonitor"}};
    EXPECT_FALSE(BatchNames().take(withPort));
    withPort.ports = {{PortType::TCP, 80, "http"}};
    EXPECT_TRUE(BatchNames().take(withPort));
}

} // namespace keldo::inspect
