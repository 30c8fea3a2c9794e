// SPDX-License-Identifier: MIT

#include "adapter/run.h"

#include "adapter/batch.h"
#include "adapter/check_services.h"
#include "adapter/command_line.h"
#include "adapter/control_file.h"
#include "adapter/file.h"
#include "adapter/service.h"
#include "adapter/watch.h"
#include "exec/unique_fd.h"

#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>

namespace keldo::adapter {

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no other file
/// gets their numbers. Opens it for reading: writing the document to a closed output must fail.
void occupyStandardDescriptors() {
    int fd = -1;
    do {
        fd = open("/dev/null", O_RDONLY);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    const UniqueFd closed(fd);
}

/// Prevents monit from inheriting the caller's descriptors.
void closeOtherDescriptorsOnExec() {
    if (close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
    // Linux before 5.11 does not know the call, and a seccomp filter may forbid it.
    // Not std::filesystem, which ends the process if it gets no memory.
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir("/proc/self/fd"));
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        const std::string_view number = entry->d_name;
        int fd = -1;
        std::from_chars(number.data(), number.data() + number.size(), fd);
        if (fd > STDERR_FILENO) {
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }
}

void complain(const char* text) {
    std::fprintf(stderr, "%s%s\n", "monit-check-status: ", text);
}

/// Checks the services and returns the document.
std::string answerTo(const Request& request) {
    const std::string& path = request.controlFile;
    try {
        const Findings findings =
            checkServices(parseControlFile(path, readFile(path)), request.limit);
        return request.limit ? batchDocumentOf(findings) : documentOf(findings.services);
    } catch (const MonitEnded& ended) {
        if (request.limit && ended.hasRefusedControlFile) {
            return refusalDocumentOf(ended.what());
        }
        std::fputs(ended.what(), stderr);
        throw Failure("the monitor ended before it had checked -- " + path);
    }
}

} // namespace

int run(int argc, char** argv) {
    occupyStandardDescriptors();
    closeOtherDescriptorsOnExec();
    // If the caller ignores SIGCHLD, waitpid() finds no child.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        writeAll(STDOUT_FILENO, answerTo(readCommandLine(argc, argv)), "the document");
        return EXIT_SUCCESS;
        // GCOVR_EXCL_START a process that a signal ends writes no counts
    } catch (const Interrupted& interrupted) {
        std::raise(interrupted.signalNumber); // everything is removed: let it end the program
        // GCOVR_EXCL_STOP
    } catch (const std::bad_alloc&) {
        complain("cannot allocate memory");
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return EXIT_FAILURE;
}

} // namespace keldo::adapter
