// SPDX-License-Identifier: MIT

#include "exec/process_state.h"
#include "lint/run.h"
#include "xml/memory.h"

int main(int argc, char* argv[]) {
    keldo::makeInheritedStateSane();
    const auto arguments = keldo::takeArguments(argc, argv);
    keldo::abortOnXmlOutOfMemory();
    return keldo::lint::run(arguments);
}
