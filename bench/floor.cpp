// SPDX-License-Identifier: MIT

// The least that a run of keldoctl must do: for each command it forks a child that passes the
// command to system(), reads the output from a pipe and waits for the child. FILE has the commands,
// each ended by a NUL byte. The program is linked only to the C library, so that it costs little.
// Usage: floor FILE

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        std::perror(what);
        std::exit(EXIT_FAILURE);
    }
}

[[noreturn]] void runInChild(const char* command, const std::array<int, 2>& ends) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    _exit(WEXITSTATUS(system(command)));
}

void run(const char* command) {
    std::array<int, 2> ends;
    require(pipe(ends.data()) == 0, "pipe");
    const pid_t child = fork();
    require(child != -1, "fork");
    if (child == 0) {
        runInChild(command, ends);
    }
    close(ends[1]);
    std::array<char, 1023> chunk; // as keldoctl reads
    while (read(ends[0], chunk.data(), chunk.size()) > 0) {
    }
    close(ends[0]);
    int waitStatus = 0;
    require(waitpid(child, &waitStatus, 0) == child, "waitpid");
    if (waitStatus != 0) {
        std::fprintf(stderr, "%s: failed\n", command);
        std::exit(EXIT_FAILURE);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    std::FILE* const file = argc == 2 ? std::fopen(argv[1], "r") : nullptr;
    require(file != nullptr, "floor");
    char* command = nullptr;
    std::size_t size = 0;
    while (getdelim(&command, &size, '\0', file) != -1) {
        run(command);
    }
}
