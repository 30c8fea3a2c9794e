// SPDX-License-Identifier: MIT

#include "inspect/child.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace keldo::inspect {

namespace {

constexpr int notExecuted = 127;

/// The most bytes to read from a pipe in one call. This empties the largest pipe, but a child that
/// writes all the time cannot keep us from other work.
constexpr std::size_t mostAtOnce = 1U << 20U;

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

[[noreturn]] void throwFromErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) == -1) {
        throwFromErrno("cannot make a pipe");
    }
    Pipe made{UniqueFd(ends[0]), UniqueFd(ends[1])};
    if (fcntl(ends[0], F_SETFL, O_NONBLOCK) == -1) {
        throwFromErrno("cannot make a pipe"); // a blocking read would ignore the time limit
    }
    return made;
}

/// In a child: asks the system for SIGTERM when `parent` ends, and moves to a group of its own.
void followParent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) { // it has already ended, so no signal will come
        _exit(notExecuted);
    }
    setpgid(0, 0);
}

/// In a child: restores the default actions and unblocks all signals.
void resetSignals() {
    for (const int number : {SIGPIPE, SIGXFSZ}) { // ignored in this program
        std::signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Returns the id of a new child, which exits with the status that `work` returns. The child gets
/// SIGTERM when this process ends, and is in a process group of its own.
pid_t forkChild(const std::function<int()>& work) {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == -1) {
        throwFromErrno("cannot make a process");
    }
    if (pid == 0) {
        followParent(parent);
        resetSignals();
        _exit(work()); // no frame above may run in the child
    }
    return pid;
}

/// Executes the program in this process; its standard streams are these descriptors. Returns the
/// exit status if that fails.
int becomeProgram(char* const* arguments, int input, int output, int errors) {
    if (duplicate(input, STDIN_FILENO) && duplicate(output, STDOUT_FILENO) &&
        duplicate(errors, STDERR_FILENO)) { // otherwise its output could get into the document
        execvp(arguments[0], arguments);
        dprintf(STDERR_FILENO, "%s: %s\n", arguments[0], std::strerror(errno));
    }
    return notExecuted;
}

/// Appends to `text` what the pipe holds, until it has `limit` bytes, and drops the rest. Sets
/// `isCut` if it dropped something. Returns false at the end of the pipe. Reads at most mostAtOnce
/// bytes.
bool readInto(std::string& text, int descriptor, std::size_t limit, bool& isCut) {
    std::array<char, 16384> buffer{};
    for (std::size_t total = 0; total < mostAtOnce;) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == -1 && errno == EAGAIN;
        }
        const auto length = static_cast<std::size_t>(count);
        total += length;
        const std::size_t room = limit - text.size();
        text.append(buffer.data(), std::min(length, room));
        isCut = isCut || length > room;
    }
    return true;
}

} // namespace

Child Child::execute(const std::vector<std::string>& words, std::size_t outputLimit) {
    Pipe output = makePipe();
    Pipe errors = makePipe();
    const UniqueFd null(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!null) {
        throwFromErrno("cannot open /dev/null");
    }
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str())); // execvp(3) does not write to it
    }
    arguments.push_back(nullptr);
    const pid_t pid = forkChild([&] {
        return becomeProgram(arguments.data(), null.get(), output.writeEnd.get(),
                             errors.writeEnd.get());
    });
    return {pid, std::move(output.readEnd), std::move(errors.readEnd), outputLimit};
}

Child Child::call(const std::function<void(int)>& work, std::size_t outputLimit) {
    Pipe output = makePipe();
    const pid_t pid = forkChild([&] {
        try {
            work(output.writeEnd.get());
            return EXIT_SUCCESS;
        } catch (...) { // the parent sees the exit status
            return EXIT_FAILURE;
        }
    });
    return {pid, std::move(output.readEnd), UniqueFd(), outputLimit};
}

Child::Child(pid_t pid, UniqueFd output, UniqueFd errors, std::size_t outputLimit)
    : pid_(pid), output_(std::move(output)), errors_(std::move(errors)), outputLimit_(outputLimit) {
    setpgid(pid, pid); // the child does it too; end() may need the group before that
}

Child::Child(Child&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), output_(std::move(other.output_)),
      errors_(std::move(other.errors_)), outputLimit_(other.outputLimit_), start_(other.start_),
      endingSince_(other.endingSince_), isEnding_(other.isEnding_), isKilled_(other.isKilled_),
      result_(std::move(other.result_)) {}

Child::~Child() {
    if (!hasEnded()) {
        if (!isEnding_) { // a second call would kill it at once
            end();
        }
        waitUntilReaped();
    }
}

/// Uses sigtimedwait(), which works because SIGCHLD is blocked.
void Child::waitUntilReaped() {
    sigset_t childEnded;
    sigemptyset(&childEnded);
    sigaddset(&childEnded, SIGCHLD);
    const auto killTime = endingSince_ + grace;
    while (!update()) {
        const auto left = killTime - Clock::now();
        if (left <= Clock::duration::zero()) {
            end();
            waitid(P_PID, static_cast<id_t>(pid_), nullptr, WEXITED | WNOWAIT);
            continue;
        }
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        const timespec timeout{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
        sigtimedwait(&childEnded, nullptr, &timeout);
    }
}

void Child::read() {
    bool ignored = false;
    if (output_ && !readInto(result_.output, output_.get(), outputLimit_, result_.isCut)) {
        output_.reset();
    }
    if (errors_ && !readInto(result_.errors, errors_.get(), errorsLimit, ignored)) {
        errors_.reset();
    }
    if (result_.isCut && !isEnding_) {
        end();
    }
}

bool Child::update() {
    siginfo_t info{};
    const int failed = waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
    if (failed == -1 ? errno != ECHILD : info.si_pid == 0) {
        return false;
    }
    kill(-pid_, SIGKILL); // the rest of its group; the id is valid until waitpid()
    pid_t reaped = -1;
    do {
        reaped = waitpid(pid_, &result_.waitStatus, 0);
    } while (reaped == -1 && errno == EINTR);
    if (reaped == -1) {
        result_.waitStatus = SIGKILL; // unknown: count it as a death by a signal
    }
    pid_ = -1;
    result_.duration = Clock::now() - start_;
    read();
    output_.reset();
    errors_.reset();
    return true;
}

void Child::end() noexcept {
    if (pid_ == -1) {
        return;
    }
    const int number = isEnding_ ? SIGKILL : SIGTERM;
    if (kill(-pid_, number) == -1 || number == SIGKILL) {
        kill(pid_, number); // it may have left its group
    }
    isKilled_ = isEnding_;
    if (!isEnding_) {
        isEnding_ = true;
        endingSince_ = Clock::now();
    }
}

void Child::endAtLimit() noexcept {
    result_.hasTimedOut = true;
    end();
}

} // namespace keldo::inspect
