// SPDX-License-Identifier: MIT

#include "adapter/run.h"

#include "fake_monit.h"
#include "support/temporary_directory.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <new>
#include <unistd.h>
#include <vector>

namespace {

using keldo::test::goodAllocations;

void* allocate(std::size_t size) {
    if (goodAllocations >= 0 && goodAllocations-- == 0) {
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size); // NOLINT(cppcoreguidelines-no-malloc)
}

} // namespace

void* operator new(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// The standard library's version of this would not match our operator delete.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
}

namespace keldo::adapter {
namespace {

using test::FakeMonit;

const std::string begin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

class Run : public testing::Test {
protected:
    ~Run() override {
        EXPECT_TRUE(test::directoriesLeft().empty());
        EXPECT_FALSE(test::hasChild());
    }
    /// Calls run(), with a limit if `hasLimit`. Unless `allocations` is -1, only this number of
    /// allocations succeeds.
    int call(int allocations = -1) const {
        std::vector<std::string> words = {"monit", "-c", control, "-x", "check-status"};
        if (hasLimit) {
            words.emplace_back("-b600");
        }
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        optind = 0; // getopt(3) begins anew
        goodAllocations = allocations;
        const int status = run(static_cast<int>(words.size()), arguments.data());
        goodAllocations = -1;
        return status;
    }
    Outcome outcome(int allocations = -1) const {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = call(allocations);
        return {status, testing::internal::GetCapturedStdout(),
                testing::internal::GetCapturedStderr()};
    }
    static void answer(const FakeMonit::Call& call) {
        test::answerRequests(call, {test::statusAnswer("web", 0, 1)});
    }

    bool hasLimit = false;
    const test::TemporaryDirectory directory;
    const std::string control = directory.write("control", "check process web\n");
};

TEST_F(Run, PrintsTheDocument) {
    const FakeMonit fake(answer);
    const Outcome result = outcome();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, begin + "<monit>\n  <service>\n    <name>web</name>\n"
                                     "    <status>0</status>\n  </service>\n</monit>\n");
}

TEST_F(Run, PrintsTheBatchDocumentIfItHasALimit) {
    const FakeMonit fake(answer);
    hasLimit = true;
    const Outcome result = outcome();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with(begin + "<monit batch=\"1\">\n  <service>\n"));
}

TEST_F(Run, PrintsTheOutputOfMonitIfMonitEnds) {
    const std::string failure = "monit-check-status: the monitor ended before it had checked -- ";
    const struct {
        bool hasLimit;
        int monitStatus;
        int status;
        std::string output;
        std::string errors;
    } rows[] = {
        {false, 1, 1, "", "x\n" + failure + control + "\n"},
        {true, 2, 1, "", "x\n" + failure + control + "\n"},
        {true, 1, 0, begin + "<monit batch=\"1\" refused=\"1\">\n  <words>x</words>\n</monit>\n",
         ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.output);
        const FakeMonit fake([&](const FakeMonit::Call&) {
            std::printf("x\n");
            std::fflush(stdout);
            _exit(row.monitStatus);
        });
        hasLimit = row.hasLimit;
        const Outcome result = outcome();
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.output, row.output);
        EXPECT_EQ(result.errors, row.errors);
    }
}

TEST_F(Run, PrintsAFailure) {
    const Outcome result = outcome();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "monit-check-status: cannot run the monitor -- /usr/bin/monit -- No "
                             "such file or directory\n");
}

TEST_F(Run, EndsByTheSignalThatAskedItToEnd) {
    const FakeMonit fake([](const FakeMonit::Call&) {
        kill(getppid(), SIGALRM);
        test::hang();
    });
    const auto end = [this] {
        std::signal(SIGALRM, SIG_DFL);
        _exit(call());
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGALRM), "^$");
}

TEST_F(Run, LeavesNoDirectoryAndNoMonitWhicheverAllocationFails) {
    const FakeMonit fake(answer);
    for (const bool limited : {false, true}) {
        hasLimit = limited;
        int failures = 0;
        for (;; ++failures) {
            SCOPED_TRACE(failures);
            const Outcome result = outcome(failures);
            ASSERT_TRUE(test::directoriesLeft().empty());
            ASSERT_FALSE(test::hasChild());
            if (result.status == 0) {
                break;
            }
            ASSERT_EQ(result.output, "");
            ASSERT_EQ(result.errors, "monit-check-status: cannot allocate memory\n");
        }
        EXPECT_GT(failures, 20);
    }
}

TEST_F(Run, HandsNoDescriptorToMonit) {
    const int file = fcntl(STDIN_FILENO, F_DUPFD, 100);
    const FakeMonit fake(answer);
    EXPECT_EQ(outcome().status, 0);
    EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
    close(file);
}

TEST_F(Run, OccupiesClosedStandardDescriptors) {
    const FakeMonit fake(answer);
    const auto end = [this] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        const int status = call();
        _exit(status == 1 && fcntl(STDIN_FILENO, F_GETFD) != -1 ? 0 : 2);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0),
                "cannot write the document -- Bad file descriptor");
}

} // namespace
} // namespace keldo::adapter
