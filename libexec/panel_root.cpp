// SPDX-License-Identifier: MIT

// panel-root
//
// Prints the panel's root directory for scripts. It reads the panel's configuration file with
// keldoctl's own code, since the rules for values are too complex for a shell script.

#include "conf/config_value.h"

#include <cstdlib>
#include <iostream>

int main() {
    std::cout << keldo::configValue("PRODUCT_ROOT_D") << std::endl;
    return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}
