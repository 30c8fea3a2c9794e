// SPDX-License-Identifier: MIT

// What a run of keldoctl cannot do without: for each command, a child that hands it to system(),
// with its output read from a pipe and its end waited for. The commands are those in a file, each
// ended by a NUL byte.
// Usage: floor FILE

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        std::perror(what);
        std::exit(EXIT_FAILURE);
    }
}

[[noreturn]] void runInChild(const std::string& command, const std::array<int, 2>& ends) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    _exit(WEXITSTATUS(system(command.c_str())));
}

void run(const std::string& command) {
    std::array<int, 2> ends;
    require(pipe(ends.data()) == 0, "pipe");
    const pid_t child = fork();
    require(child != -1, "fork");
    if (child == 0) {
        runInChild(command, ends);
    }
    close(ends[1]);
    std::array<char, 1023> chunk;
    while (read(ends[0], chunk.data(), chunk.size()) > 0) {
    }
    close(ends[0]);
    int waitStatus = 0;
    require(waitpid(child, &waitStatus, 0) == child, "waitpid");
    require(waitStatus == 0, command.c_str());
}

} // namespace

int main(int argc, char* argv[]) {
    std::ifstream file(argc > 1 ? argv[1] : "");
    require(file.is_open(), "floor");
    std::vector<std::string> commands;
    for (std::string command; std::getline(file, command, '\0');) {
        commands.push_back(command);
    }
    for (const std::string& command : commands) {
        run(command);
    }
}
