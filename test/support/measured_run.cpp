// SPDX-License-Identifier: MIT

// Runs a program and prints the peak resident memory, in KiB, of the largest process among it and
// its descendants. Ends with the program's exit status. A script that starts the program itself
// cannot measure this: wait4(2) counts the memory of the starting process, too.
//
// Usage: measured_run PROGRAM [ARG...]    PROGRAM gets /dev/null as its standard streams

#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int failed = 125;

[[noreturn]] void becomeProgram(char** words) {
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execv(words[0], words);
    _exit(failed);
}

} // namespace

int main(int argc, char** argv) {
    const pid_t program = argc > 1 ? fork() : -1;
    if (program == 0) {
        becomeProgram(argv + 1);
    }
    int status = 0;
    rusage usage = {};
    if (program == -1 || wait4(program, &status, 0, &usage) != program) {
        return failed;
    }
    std::printf("%ld\n", usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : failed;
}
