// SPDX-License-Identifier: MIT

#include "adapter/monit.h"

#include "adapter/file.h"
#include "exec/stock_monit.h"
#include "exec/unique_fd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldo::adapter {

namespace {

// The limit of descriptors for monit, which needs about ten. At its start monit closes every
// possible descriptor, one by one, which takes long with a high limit.
constexpr rlim_t monitDescriptors = 64;

constexpr int execFailed = 127;

/// In a new child: asks the system to kill it when `parent` ends, and moves it to a process group
/// of its own, so that a terminal's signals reach only the parent.
void dieWith(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // If the parent ended before that call, no signal will come.
    if (getppid() != parent) {
        _exit(execFailed); // GCOVR_EXCL_LINE a killed child writes no counts
    }
    setpgid(0, 0);
}

/// In a new child: makes `input` and `output` its standard descriptors, limits the number of
/// descriptors and unblocks all signals. The other descriptors are closed on exec.
void makeSurroundings(int input, int output) {
    if (!duplicate(input, STDIN_FILENO) || !duplicate(output, STDOUT_FILENO) ||
        !duplicate(output, STDERR_FILENO)) {
        // Otherwise monit's output would get into the document.
        _exit(execFailed); // GCOVR_EXCL_LINE no counts are written by _exit()
    }
    const rlimit limit{monitDescriptors, monitDescriptors};
    setrlimit(RLIMIT_NOFILE, &limit);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

Monit::Monit(const PrivateDirectory& directory, const ControlFile& control)
    : directory_(directory), control_(control), pid_(start()) {}

Monit::~Monit() {
    kill(pid_, SIGKILL); // perhaps it has not made its group yet
    kill(-pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
    }
}

/// The settings that monit needs besides the control file. They follow the control file's text:
/// monit uses the last of two equal settings, so it works on these files whatever the text
/// contains. They contain no quote, which would close a quote that the text leaves open.
std::string Monit::settings() const {
    return "\n"
           // The first cycle starts at once; the next one is later than any deadline.
           "set daemon 1000000\n"
           // Without a pid file of its own it would wake the machine's monit instead of checking.
           "set pidfile " +
           pidPath() + "\nset idfile " + idPath() + "\nset statefile " + directory_.file("state") +
           // Without an allowed user, monit does not open the socket and does not say so.
           "\nset httpd unixsocket " + socketPath() + " allow monit:monit\n" +
           // Monit checks its host as one more service. By default this service has the host's
           // name, and monit would refuse a service of that name in the control file.
           "check system " + directory_.name() + "\n";
}

pid_t Monit::start() const {
    if (access(stockMonit, X_OK) != 0) {
        throw failureFromErrno(std::string("cannot run the monitor -- ") + stockMonit);
    }
    // A copy of the given file: monit might refuse the file's mode or owner, and settings are
    // added.
    std::string copy = copyPath();
    createFile(copy, control_.text + settings());
    const UniqueFd output = createFile(printedPath(), "");
    const UniqueFd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!input) {
        throw failureFromErrno("cannot open /dev/null");
    }
    std::string program = stockMonit;
    std::string foreground = "-I";
    std::string option = "-c";
    std::string home = "HOME=" + directory_.path();
    const std::array<char*, 5> arguments = {program.data(), foreground.data(), option.data(),
                                            copy.data(), nullptr};
    const std::array<char*, 2> environment = {home.data(), nullptr};

    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == -1) {
        throw failureFromErrno("cannot start the monitor");
    }
    if (child != 0) {
        return child;
    }
    // From here on only calls that are safe between fork and exec.
    dieWith(parent);
    makeSurroundings(input.get(), output.get());
    execve(stockMonit, arguments.data(), environment.data());
    _exit(execFailed); // GCOVR_EXCL_LINE no counts are written by _exit()
}

/// How monit has ended; si_pid is 0 if monit still runs.
siginfo_t Monit::end() const {
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
    return info;
}

bool Monit::hasEnded() const {
    return end().si_pid == pid_;
}

bool Monit::hasRefusedControlFile() const {
    const siginfo_t info = end();
    // Monit makes its id file as soon as it has accepted the control file.
    return info.si_pid == pid_ && info.si_code == CLD_EXITED && info.si_status == EXIT_FAILURE &&
           access(idPath().c_str(), F_OK) != 0;
}

std::optional<std::chrono::microseconds> Monit::beginOfFirstCycle() const {
    struct stat status {};
    // Monit makes this file last before its first cycle.
    if (stat(pidPath().c_str(), &status) != 0) {
        return std::nullopt;
    }
    const std::chrono::seconds whole(status.st_mtim.tv_sec);
    const std::chrono::nanoseconds rest(status.st_mtim.tv_nsec);
    return std::chrono::duration_cast<std::chrono::microseconds>(whole + rest);
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
