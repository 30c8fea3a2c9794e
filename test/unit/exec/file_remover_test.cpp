// SPDX-License-Identifier: MIT

#include "exec/file_remover.h"

#include "exec/ending_signals.h"
#include "support/temporary_directory.h"

#include <array>
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

/// The signals end the process, however the tests were started: before there is a first remover,
/// and so before the tests.
const bool endedBySignals = [] {
    for (const int signal : endingSignals) {
        std::signal(signal, SIG_DFL);
    }
    return true;
}();

class FileRemoval : public testing::Test {
protected:
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

TEST_F(FileRemoval, ComesWithTheSignalsOfALaterRemoverToo) {
    const auto end = [this] {
        { const FileRemover remover(path); }
        const FileRemover remover(path);
        directory.write("file", "text");
        raise(SIGTERM);
        _exit(0);
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_FALSE(isThere());
}

TEST_F(FileRemoval, OfSeveralGoesInTheirOrder) {
    const std::string inner = directory.write("folder/file", "text");
    const std::string folder = directory.path() / "folder";
    const std::array paths = {path, inner, folder};
    { const FileRemover remover{paths}; }
    EXPECT_FALSE(isThere());
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(FileRemoval, OfADirectoryLeavesOneThatIsNotEmpty) {
    const std::array paths = {directory.path().string(), path};
    { const FileRemover remover{paths}; }
    EXPECT_FALSE(isThere());
    EXPECT_TRUE(std::filesystem::exists(directory.path()));
}

TEST_F(FileRemoval, OfSeveralComesWithASignalThatEndsTheProcess) {
    const std::string inner = directory.write("folder/file", "text");
    const std::array paths = {inner, directory.path().string() + "/folder", path};
    const auto end = [&] {
        const FileRemover remover{paths};
        raise(SIGTERM);
        _exit(0);
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_FALSE(isThere());
    EXPECT_FALSE(std::filesystem::exists(paths[1]));
}

/// In a process of its own, in which there was no remover yet.
class FirstFileRemoval : public FileRemoval {
protected:
    FirstFileRemoval() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(FirstFileRemoval, LeavesEachSignalIgnoredThatTheCallerIgnores) {
    for (const int ignored : endingSignals) {
        const auto run = [&] {
            std::signal(ignored, SIG_IGN);
            const FileRemover remover(path);
            for (const int signal : endingSignals) {
                if ((actionOf(signal) == SIG_IGN) != (signal == ignored)) {
                    _exit(1);
                }
            }
            raise(ignored);
            _exit(isThere() ? 0 : 2);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "") << ignored;
    }
}

} // namespace
} // namespace keldo
