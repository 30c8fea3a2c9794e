// SPDX-License-Identifier: MIT

#include "exec/file_remover.h"

#include "exec/ending_signals.h"
#include "support/temporary_directory.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace keldo {
namespace {

std::vector<int> allEndingSignals() {
    std::vector<int> numbers;
    const sigset_t signals = endingSignals();
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (sigismember(&signals, signal) == 1) {
            numbers.push_back(signal);
        }
    }
    return numbers;
}

sighandler_t actionOf(int signal) {
    struct sigaction action;
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

/// The caller of the tests may ignore signals. This restores their default actions before the first
/// test, since the first remover of a process leaves ignored signals alone.
const bool signalsAreReset = [] {
    for (const int signal : allEndingSignals()) {
        std::signal(signal, SIG_DFL);
    }
    return true;
}();

class FileRemoverTest : public testing::Test {
protected:
    bool isThere() const { return std::filesystem::exists(path); }

    const test::TemporaryDirectory directory;
    const std::string path = directory.write("file", "text");
};

TEST_F(FileRemoverTest, RemovesTheFileOnDestructionUnlessReleased) {
    {
        FileRemover remover(path);
        remover.release();
    }
    EXPECT_TRUE(isThere());
    {
        const FileRemover remover(path);
        EXPECT_TRUE(isThere());
    }
    EXPECT_FALSE(isThere());
}

TEST_F(FileRemoverTest, RemovesTheFileWhenAnEndingSignalEndsTheProcess) {
    for (const int signal : allEndingSignals()) {
        SCOPED_TRACE(signal);
        directory.write("file", "text");
        const auto end = [&] {
            const FileRemover remover(path);
            raise(signal);
            _exit(0);
        };
        EXPECT_EXIT(end(), testing::KilledBySignal(signal), "");
        EXPECT_FALSE(isThere());
    }
}

TEST_F(FileRemoverTest, RemovesNothingBetweenTheLivesOfTwoRemovers) {
    for (const bool next : {false, true}) {
        SCOPED_TRACE(next);
        const auto end = [&] {
            { const FileRemover first(path); }
            const auto second = next ? std::make_unique<FileRemover>(path) : nullptr;
            directory.write("file", "new text");
            raise(SIGTERM);
            _exit(0);
        };
        EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
        EXPECT_EQ(isThere(), !next);
    }
}

TEST_F(FileRemoverTest, RemovesADirectoryWithItsContents) {
    for (const bool bySignal : {false, true}) {
        SCOPED_TRACE(bySignal);
        directory.write("folder/inner", "text");
        const std::string folder = directory.path() / "folder";
        const auto end = [&] {
            const FileRemover remover(folder);
            if (bySignal) {
                raise(SIGTERM);
            }
        };
        if (bySignal) {
            EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
        } else {
            end();
        }
        EXPECT_FALSE(std::filesystem::exists(folder));
    }
}

TEST_F(FileRemoverTest, KeepsIgnoringEachSignalThatTheCallerIgnores) {
    // A fresh process, in which no remover has existed yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int parity : {0, 1}) {
        const auto run = [&] {
            std::vector<int> signals = allEndingSignals();
            // AddressSanitizer of GCC 16 always says that SIGRTMAX has its default action.
            std::signal(SIGRTMAX, SIG_IGN);
            if (actionOf(SIGRTMAX) != SIG_IGN) {
                std::erase(signals, SIGRTMAX);
            }
            for (const int signal : signals) {
                std::signal(signal, signal % 2 == parity ? SIG_IGN : SIG_DFL);
            }
            const FileRemover remover(path);
            for (const int signal : signals) {
                if ((actionOf(signal) == SIG_IGN) != (signal % 2 == parity)) {
                    _exit(1);
                }
                if (signal % 2 == parity) {
                    raise(signal);
                }
            }
            _exit(isThere() ? 0 : 2);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "") << parity;
    }
}

} // namespace
} // namespace keldo
