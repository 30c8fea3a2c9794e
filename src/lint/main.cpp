// SPDX-License-Identifier: MIT

#include "exec/process_state.h"
#include "lint/run.h"
#include "xml/memory.h"

#include <filesystem>
#include <string>
#include <vector>

int main(int argc, char* argv[]) {
    keldo::makeInheritedStateSane();
    const std::vector<std::string> words(argv, argv + argc);
    keldo::programName = std::filesystem::path(argc > 0 ? argv[0] : "").filename();
    keldo::abortOnXmlOutOfMemory();
    return keldo::lint::run({words.begin() + (argc > 0 ? 1 : 0), words.end()});
}
