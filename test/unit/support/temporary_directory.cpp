// SPDX-License-Identifier: MIT

#include "support/temporary_directory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace keldo::test {

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "keldo-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

std::string TemporaryDirectory::writeScript(const std::string& name,
                                            const std::string& content) const {
    std::string file = write(name, content);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

} // namespace keldo::test
