// SPDX-License-Identifier: MIT

#include "exec/process_state.h"
#include "inspect/command_line.h"
#include "inspect/event_loop.h"
#include "inspect/run.h"

#include <csignal>
#include <cstdio>
#include <exception>

using namespace keldo;

int main(int argc, char* argv[]) {
    makeInheritedStateSane();
    try {
        return inspect::run(inspect::parseCommandLine(takeArguments(argc, argv)));
    } catch (const inspect::CommandLineError& error) {
        std::fputs(error.what(), stderr);
        return inspect::statusUsage;
    } catch (const inspect::Interrupted& interrupted) {
        std::raise(interrupted.signalNumber); // everything is cleaned up
    } catch (const std::exception& error) {   // no document is better than a wrong one
        std::fprintf(stderr, "%s: %s\n", programName.c_str(), error.what());
    }
    return inspect::statusNoDocument;
}
