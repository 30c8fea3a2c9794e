// SPDX-License-Identifier: MIT

// Prints the peak resident memory of a program itself, without its children, in KiB. wait4(2)
// cannot tell it: it counts the children, and even the process that started the program. So we stop
// the program at its end and read its VmHWM (proc(5)).
// Usage: peak_memory PROGRAM [ARG...]    PROGRAM gets /dev/null as its standard streams

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        std::perror(what);
        std::exit(EXIT_FAILURE);
    }
}

[[noreturn]] void becomeProgram(char* argv[]) {
    require(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0, "ptrace");
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    require(nothing != -1, "/dev/null");
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execv(argv[0], argv);
    _exit(EXIT_FAILURE);
}

int waitForStop(pid_t program) {
    int waitStatus = 0;
    require(waitpid(program, &waitStatus, 0) == program, "waitpid");
    require(WIFSTOPPED(waitStatus), "the program has ended unseen");
    return waitStatus;
}

/// Lets the program run until it is about to end; signals reach it on the way.
void runToItsEnd(pid_t program) {
    constexpr int atItsEnd = SIGTRAP | PTRACE_EVENT_EXIT << 8;
    waitForStop(program); // for the end of execv
    const auto options = PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL;
    require(ptrace(PTRACE_SETOPTIONS, program, nullptr, options) == 0, "ptrace");
    long signalNumber = 0;
    for (;;) {
        require(ptrace(PTRACE_CONT, program, nullptr, signalNumber) == 0, "ptrace");
        const int waitStatus = waitForStop(program);
        if (waitStatus >> 8 == atItsEnd) {
            return;
        }
        signalNumber = WSTOPSIG(waitStatus);
    }
}

std::string peakOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    status >> word;
    return word;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::fputs("usage: peak_memory PROGRAM [ARG...]\n", stderr);
        return EXIT_FAILURE;
    }
    const pid_t program = fork();
    require(program != -1, "fork");
    if (program == 0) {
        becomeProgram(argv + 1);
    }
    runToItsEnd(program);
    std::cout << peakOf(program) << '\n';
    require(ptrace(PTRACE_DETACH, program, nullptr, nullptr) == 0, "ptrace");
    int waitStatus = 0;
    require(waitpid(program, &waitStatus, 0) == program, "waitpid");
    return WEXITSTATUS(waitStatus);
}
