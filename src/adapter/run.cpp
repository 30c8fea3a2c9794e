// SPDX-License-Identifier: MIT

#include "adapter/run.h"

#include "adapter/batch.h"
#include "adapter/check_services.h"
#include "adapter/command_line.h"
#include "adapter/control_file.h"
#include "adapter/file.h"
#include "adapter/service.h"
#include "adapter/watch.h"
#include "exec/process_state.h"
#include "exec/unique_fd.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>

namespace keldo::adapter {

namespace {

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no other file
/// gets their numbers. Opens it for reading: writing the document to a closed output must fail.
void occupyStandardDescriptors() {
    int fd = -1;
    do {
        fd = open("/dev/null", O_RDONLY);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    const UniqueFd closed(fd);
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
    // We do not call makeInheritedStateSane(), which would hide that nobody gets the document: a
    // closed standard output would accept all data, and SIGPIPE would not end the program.
    occupyStandardDescriptors();
    closeOtherDescriptorsOnExec();
    // If the caller ignores SIGCHLD, waitpid() finds no child.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        const auto text = requestedText(argc, argv);
        writeAll(STDOUT_FILENO, text ? *text : answerTo(readCommandLine(argc, argv)),
                 "the document");
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
