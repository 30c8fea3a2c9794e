// SPDX-License-Identifier: MIT

#include "monitor/file_remover.h"

#include "support/temporary_directory.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace keldo {
namespace {

using Handler = void (*)(int);

Handler actionOf(int signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

/// The signals end the process, however the tests were started.
class FileRemoval : public testing::Test {
protected:
    FileRemoval() {
        for (const int signal : endingSignals) {
            std::signal(signal, SIG_DFL);
        }
    }

    bool isThere() const { return std::filesystem::exists(path); }

    const test::TemporaryDirectory directory;
    const std::string path = directory.write("file", "text");
};

TEST_F(FileRemoval, ComesWithTheRemoversEnd) {
    {
        const FileRemover remover(path);
        EXPECT_TRUE(isThere());
    }
    EXPECT_FALSE(isThere());
}

TEST_F(FileRemoval, DoesNotComeAfterRelease) {
    {
        FileRemover remover(path);
        remover.release();
    }
    EXPECT_TRUE(isThere());
}

TEST_F(FileRemoval, OfAFileThatIsGoneIsNone) {
    const FileRemover remover(path);
    std::filesystem::remove(path);
}

TEST_F(FileRemoval, ComesWithASignalThatEndsTheProcess) {
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU}) {
        SCOPED_TRACE(signal);
        const std::string file = directory.write("file", "text");
        const auto end = [&] {
            const FileRemover remover(file);
            raise(signal);
            _exit(0);
        };
        EXPECT_EXIT(end(), testing::KilledBySignal(signal), "");
        EXPECT_FALSE(isThere());
    }
}

TEST_F(FileRemoval, DoesNotComeWithASignalAfterItsEnd) {
    const auto end = [this] {
        { const FileRemover remover(path); }
        directory.write("file", "somebody else's");
        raise(SIGTERM);
        _exit(0);
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(isThere());
}

TEST_F(FileRemoval, LeavesASignalIgnoredThatTheCallerIgnores) {
    const Handler before = std::signal(SIGHUP, SIG_IGN);
    {
        const FileRemover remover(path);
        EXPECT_EQ(SIG_IGN, actionOf(SIGHUP));
        raise(SIGHUP);
        EXPECT_TRUE(isThere());
    }
    EXPECT_EQ(SIG_IGN, actionOf(SIGHUP));
    std::signal(SIGHUP, before);
}

TEST_F(FileRemoval, LeavesTheSignalsAsTheyWere) {
    { const FileRemover remover(path); }
    for (const int signal : endingSignals) {
        EXPECT_EQ(SIG_DFL, actionOf(signal)) << signal;
    }
}

TEST_F(FileRemoval, LeavesEachSignalAsThatOneWas) {
    for (const int ignored : endingSignals) {
        std::signal(ignored, SIG_IGN);
        { const FileRemover remover(path); }
        for (const int signal : endingSignals) {
            EXPECT_EQ(signal == ignored ? SIG_IGN : SIG_DFL, actionOf(signal)) << signal;
        }
        std::signal(ignored, SIG_DFL);
    }
}

} // namespace
} // namespace keldo
