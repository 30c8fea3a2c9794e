// SPDX-License-Identifier: MIT

#include "temporary_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace keldo::bench {

TemporaryFile::TemporaryFile(const std::string& content)
    : path_(std::filesystem::temp_directory_path() / "keldo-growth-XXXXXX") {
    const int file = mkstemp(path_.data());
    std::ofstream stream(path_);
    if (file == -1 || !stream.write(content.data(), static_cast<std::streamsize>(content.size())) ||
        !stream.flush()) {
        std::perror(path_.c_str());
        std::exit(EXIT_FAILURE);
    }
    close(file);
}

TemporaryFile::~TemporaryFile() {
    unlink(path_.c_str());
}

} // namespace keldo::bench
