// SPDX-License-Identifier: MIT

#include "adapter/monit.h"

#include "adapter/failure.h"
#include "adapter/file.h"
#include "exec/unique_fd.h"

#include <array>
#include <climits>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace keldo::adapter {

namespace {

// By its full path: this program is itself installed under the name monit in the panel's own
// directory, and a search along PATH could find it instead.
constexpr const char* monitPath = "/usr/bin/monit";

// Monit closes every descriptor that it could have, one by one, and needs about ten.
constexpr rlim_t monitDescriptors = 64;

constexpr int execFailed = 127;

/// In a new child: has it killed when `parent` ends, however that comes about, and gives it a
/// process group of its own, so that a terminal's signals reach only the parent.
void dieWith(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A parent that was gone before that call gives no signal any more.
    if (getppid() != parent) {
        _exit(execFailed);
    }
    setpgid(0, 0);
}

/// In a new child: `input` and `output` become its standard descriptors, the only ones that it
/// hands on; few more can be opened, and no signal is blocked.
void makeSurroundings(int input, int output) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
    const rlimit limit{monitDescriptors, monitDescriptors};
    setrlimit(RLIMIT_NOFILE, &limit);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

Monit::Monit(const PrivateDirectory& directory, const ControlFile& control)
    : directory_(directory), control_(control), child_(start()) {
    if (child_.endDescriptor() < 0) {
        throw failureFromErrno("cannot start the monitor");
    }
}

/// What monit needs to know besides the control file. It stands behind the control file's text, as
/// monit heeds the last of two equal settings: whatever the text holds, monit works on its own
/// files. Nothing is quoted, so that a quote left open in the text cannot end here.
std::string Monit::settings() const {
    return "\n"
           // The first cycle starts at once; the next one is farther away than any deadline.
           "set daemon 1000000\n"
           // Without a pid file of its own it would wake the machine's monit instead of checking.
           "set pidfile " +
           directory_.file("pid") + "\nset idfile " + directory_.file("id") + "\nset statefile " +
           directory_.file("state") +
           // Without a user allowed the socket is not opened, and monit says nothing about it.
           "\nset httpd unixsocket " + socketPath() + " allow monit:monit\n" +
           // Monit checks its host as one more service, which has the host's name unless told
           // otherwise; a service of that name in the control file would be refused.
           "check system " + directory_.name() + "\n";
}

pid_t Monit::start() const {
    if (access(monitPath, X_OK) != 0) {
        throw failureFromErrno(std::string("cannot run the monitor -- ") + monitPath);
    }
    // Not the given file itself: monit might dislike its mode or owner, and settings are added.
    std::string copy = copyPath();
    createFile(copy, control_.text + settings());
    const UniqueFd output = createFile(printedPath(), "");
    const UniqueFd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!input) {
        throw failureFromErrno("cannot open /dev/null");
    }
    std::string program = monitPath;
    std::string foreground = "-I";
    std::string option = "-c";
    std::string home = "HOME=" + directory_.path();
    const std::array<char*, 5> arguments = {program.data(), foreground.data(), option.data(),
                                            copy.data(), nullptr};
    const std::array<char*, 2> environment = {home.data(), nullptr};

    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    // From here on only calls that are safe between fork and exec.
    dieWith(parent);
    makeSurroundings(input.get(), output.get());
    execve(monitPath, arguments.data(), environment.data());
    _exit(execFailed);
}

std::string Monit::printed() const {
    std::string text = readFile(printedPath());
    const std::string copy = copyPath();
    for (size_t at = 0; (at = text.find(copy, at)) != std::string::npos;) {
        text.replace(at, copy.size(), control_.path);
        at += control_.path.size();
    }
    return text;
}

} // namespace keldo::adapter
