// SPDX-License-Identifier: MIT

#include "adapter/command_line.h"

#include "adapter/file.h"

#include <string_view>
#include <unistd.h>

namespace keldo::adapter {

std::string controlFileArgument(int argc, char** argv) {
    const char* file = nullptr;
    bool isCheck = false;
    opterr = 0;
    for (int option = 0; (option = getopt(argc, argv, "+:c:x:")) != -1;) {
        if (option == 'c') {
            file = optarg;
        } else if (option == 'x' && std::string_view(optarg) == "check-status") {
            isCheck = true;
        } else {
            isCheck = false;
            break;
        }
    }
    if (file == nullptr || !isCheck || optind != argc) {
        throw Failure("usage: monit-check-status -c FILE -x check-status");
    }
    return file;
}

} // namespace keldo::adapter
