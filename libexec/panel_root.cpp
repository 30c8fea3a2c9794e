// SPDX-License-Identifier: MIT

// panel-root
//
// Prints the panel's root directory, as keldoctl itself takes it from the panel's configuration
// file, for scripts: the rules for a value are too odd to be told in shell.

#include "conf/config_value.h"

#include <cstdlib>
#include <iostream>

int main() {
    std::cout << keldo::configValue("PRODUCT_ROOT_D") << std::endl;
    return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}
