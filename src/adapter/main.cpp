// SPDX-License-Identifier: MIT

// monit-check-status -c FILE -x check-status
//
// Runs the stock monit privately on the control file FILE, waits until every service of the file
// has been checked once, prints the services' names and statuses as a small XML document and ends
// all that it started. Stock monit has no such mode of its own: it is a daemon that checks again
// and again and answers questions over HTTP. So a call goes like this:
//
//   read FILE ── make a private directory ── start monit in it ── ask it for its status, again and
//   again, until no service waits for its first check ── kill monit, remove the directory ── print
//
// Nothing of monit's is shared with the machine's own monit: files, socket, HOME and environment
// are in the private directory or made for the child. The manual page is doc/monit-check-status.8.
//
// The files, each of which includes only ones that stand below it:
//
//   main               the call as a whole, and how it ends
//   command_line       FILE, from the options
//   document           what is printed
//   check_services     all between the reading and the printing
//   monit              the process: its settings, its surroundings, what it prints
//   child              a process that is killed and reaped in any case
//   control_file       what FILE says, as far as it has to be known without monit
//   status_request     the question to monit over HTTP
//   service            one service's status, and the services in monit's answer
//   watch              every wait, which monit's end and signals end too
//   ending_signals     the signals that ask this program to end
//   xml_text           a text as XML can carry it
//   file               texts read from and written to files
//   failure            what prevents an answer

#include "adapter/check_services.h"
#include "adapter/command_line.h"
#include "adapter/control_file.h"
#include "adapter/document.h"
#include "adapter/ending_signals.h"
#include "adapter/failure.h"
#include "adapter/file.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

using namespace keldo::adapter;

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no file of ours
/// gets one of these numbers. It is opened for reading: writing the document to it must fail.
void occupyStandardDescriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDONLY);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    close(fd);
}

int run(int argc, char** argv) {
    // A caller may ignore it, and then a child's end would leave nothing to wait for.
    std::signal(SIGCHLD, SIG_DFL);
    const ControlFile control = readControlFile(controlFileArgument(argc, argv));
    try {
        const std::string document = documentOf(checkServices(control));
        writeAll(STDOUT_FILENO, document, "the document");
        return EXIT_SUCCESS;
    } catch (const MonitEnded& ended) {
        std::cerr << ended.what();
        throw Failure("the monitor ended before it had checked -- " + control.path);
    }
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const Interrupted& interrupted) {
        std::raise(interrupted.signalNumber); // cleaned up: now it may end us as it would have
    } catch (const std::exception& error) {
        std::cerr << "monit-check-status: " << error.what() << '\n';
    }
    return EXIT_FAILURE;
}
