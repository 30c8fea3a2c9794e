// SPDX-License-Identifier: MIT

#include "adapter/monit.h"

#include "adapter/file.h"
#include "adapter/watch.h"
#include "failure_of.h"
#include "fake_monit.h"
#include "support/temporary_directory.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

int forkError = 0;
int failingDup2 = 0; ///< which call fails, from 1 on

} // namespace

extern "C" {
pid_t __real_fork();
pid_t __wrap_fork();
int __real_dup2(int from, int to);
int __wrap_dup2(int from, int to);
}

pid_t __wrap_fork() {
    errno = forkError;
    return forkError != 0 ? -1 : __real_fork();
}

int __wrap_dup2(int from, int to) {
    if (failingDup2 > 0 && --failingDup2 == 0) {
        errno = EMFILE;
        return -1;
    }
    return __real_dup2(from, to);
}

namespace keldo::adapter {
namespace {

using test::FakeMonit;

class MonitTest : public testing::Test {
protected:
    MonitTest() : base(temporary.path()), directory(std::array{base.c_str()}, "test.") {}

    /// The output of a monit that runs `program`.
    std::string printedBy(const std::function<void(const FakeMonit::Call&)>& program) const {
        const FakeMonit fake([&](const FakeMonit::Call& call) {
            program(call);
            std::fflush(stdout);
        });
        const Watch watch;
        const Monit monit(directory, control);
        while (!monit.hasEnded()) {
            watch.wait(-1, Clock::now() + std::chrono::hours(1));
        }
        return monit.printed();
    }
    std::string failure() const {
        return test::failureOf([this] { const Monit monit(directory, control); });
    }

    const test::TemporaryDirectory temporary;
    const std::string base;
    const PrivateDirectory directory;
    const ControlFile control = parseControlFile("/a b/control", "check process web");
};

TEST_F(MonitTest, ReadsACopyOfTheControlFileWithAddedSettings) {
    printedBy([](const FakeMonit::Call&) {});
    EXPECT_EQ(test::contentOf(directory.file("monitrc")), "check process web\n"
                                                          "set daemon 1000000\n"
                                                          "set pidfile " +
                                                              directory.path() +
                                                              "/pid\n"
                                                              "set idfile " +
                                                              directory.path() +
                                                              "/id\n"
                                                              "set statefile " +
                                                              directory.path() +
                                                              "/state\n"
                                                              "set httpd unixsocket " +
                                                              directory.path() +
                                                              "/socket allow monit:monit\n"
                                                              "check system " +
                                                              directory.name() + "\n");
}

TEST_F(MonitTest, GetsItsArgumentsAndOnlyHomeInItsEnvironment) {
    EXPECT_EQ(printedBy([](const FakeMonit::Call& call) {
                  for (const auto& texts : {call.arguments, call.environment}) {
                      for (const std::string& text : texts) {
                          std::printf("%s\n", text.c_str());
                      }
                  }
              }),
              "/usr/bin/monit\n-I\n-c\n/a b/control\nHOME=" + directory.path() + "\n");
}

TEST_F(MonitTest, PrintsThePathOfTheControlFileInsteadOfItsCopy) {
    EXPECT_EQ(printedBy([](const FakeMonit::Call& call) {
                  const char* const copy = call.arguments.back().c_str();
                  std::printf("%s:1: error\n%s%s x\n", copy, copy, copy);
                  std::fprintf(stderr, "%s\n", copy);
              }),
              "/a b/control\n/a b/control:1: error\n/a b/control/a b/control x\n");
}

TEST_F(MonitTest, HasLimitedDescriptorsItsOwnGroupAndNoBlockedSignals) {
    EXPECT_EQ(printedBy([](const FakeMonit::Call&) {
                  rlimit limit{};
                  getrlimit(RLIMIT_NOFILE, &limit);
                  std::printf("descriptors %d %d\n", static_cast<int>(limit.rlim_cur),
                              static_cast<int>(limit.rlim_max));
                  sigset_t blocked;
                  sigprocmask(SIG_SETMASK, nullptr, &blocked);
                  std::printf("blocked %d\n", sigisemptyset(&blocked) == 0);
                  std::printf("own group %d\n", getpgid(0) == getpid());
                  int deathSignal = 0;
                  prctl(PR_GET_PDEATHSIG, &deathSignal);
                  std::printf("killed with its parent %d\n", deathSignal == SIGKILL);
                  std::printf("input %d\n", static_cast<int>(read(STDIN_FILENO, &limit, 1)));
              }),
              "descriptors 64 64\nblocked 0\nown group 1\nkilled with its parent 1\ninput 0\n");
}

TEST_F(MonitTest, IsNotRunIfItsStreamsCannotBeRedirected) {
    for (const int call : {1, 2, 3}) {
        SCOPED_TRACE(call);
        failingDup2 = call;
        EXPECT_EQ(printedBy([](const FakeMonit::Call&) { std::printf("monit runs"); }), "");
        failingDup2 = 0;
        unlink(directory.file("monitrc").c_str());
        unlink(directory.file("printed").c_str());
    }
}

TEST_F(MonitTest, IsKilledAndReapedAtTheEnd) {
    {
        const FakeMonit fake([](const FakeMonit::Call&) { test::hang(); });
        const Monit monit(directory, control);
        EXPECT_FALSE(monit.hasEnded());
    }
    EXPECT_FALSE(test::hasChild());
}

TEST_F(MonitTest, ThrowsIfItIsNotInstalled) {
    EXPECT_EQ(failure(), "cannot run the monitor -- /usr/bin/monit -- No such file or directory");
}

TEST_F(MonitTest, ThrowsIfTheSystemRefuses) {
    const FakeMonit fake([](const FakeMonit::Call&) {});
    forkError = EAGAIN;
    EXPECT_EQ(failure(), "cannot start the monitor -- Resource temporarily unavailable");
    forkError = 0;
    EXPECT_EQ(failure(), "cannot make a file -- " + directory.file("monitrc") + " -- File exists");
}

TEST_F(MonitTest, ThrowsIfNoDescriptorIsLeftForItsInput) {
    const FakeMonit fake([](const FakeMonit::Call&) {});
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = UniqueFd(dup(STDERR_FILENO)).get();
    const rlimit one{static_cast<rlim_t>(next) + 1, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &one); // only the file of monit's output can be open
    std::exception_ptr thrown;
    try {
        const Monit monit(directory, control);
    } catch (...) { // a sanitizer needs descriptors to look at an exception
        thrown = std::current_exception();
    }
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(test::failureOf([&thrown] { std::rethrow_exception(thrown); }),
              "cannot open /dev/null -- Too many open files");
}

} // namespace
} // namespace keldo::adapter
