// SPDX-License-Identifier: MIT

// panel-root [--version | --help]
//
// Prints the panel's root directory for scripts. It reads the panel's configuration file with
// keldoctl's own code, since the rules for values are too complex for a shell script.

#include "conf/config_value.h"
#include "exec/program_version.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int wrongUsage = 64; // EX_USAGE of sysexits.h
constexpr const char* usage = "Usage: panel-root [--version | --help]\n"
                              "Prints the panel's root directory.\n";

/// The text that the arguments ask for; empty if there is no such option.
std::string textFor(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return keldo::configValue("PRODUCT_ROOT_D") + "\n";
    }
    if (arguments == std::vector<std::string>{"--version"}) {
        return std::string("panel-root ") + keldo::programVersion + "\n";
    }
    return arguments == std::vector<std::string>{"--help"} ? usage : "";
}

} // namespace

int main(int argc, char** argv) {
    const std::string text =
        textFor(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (text.empty()) {
        std::cerr << usage;
        return wrongUsage;
    }
    std::cout << text << std::flush;
    return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}
