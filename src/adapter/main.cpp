// SPDX-License-Identifier: MIT

#include "adapter/run.h"

int main(int argc, char** argv) {
    return keldo::adapter::run(argc, argv);
}
