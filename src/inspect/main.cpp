// SPDX-License-Identifier: MIT

#include "exec/process_state.h"
#include "inspect/command_line.h"
#include "inspect/event_loop.h"
#include "inspect/run.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <libgen.h>

using namespace keldo;

int main(int argc, char* argv[]) {
    makeInheritedStateSane();
    const std::vector<std::string> words(argv, argv + argc);
    programName = argc > 0 ? basename(argv[0]) : "";
    try {
        return inspect::run(
            inspect::parseCommandLine({words.begin() + (argc > 0 ? 1 : 0), words.end()}));
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
