// SPDX-License-Identifier: MIT

#include "support/redirected_files.h"

#include <cerrno>
#include <cstdio>
#include <map>

namespace {

std::map<std::string, std::string>& targets() {
    static std::map<std::string, std::string> map;
    return map;
}

std::map<std::string, int>& opens() {
    static std::map<std::string, int> map;
    return map;
}

} // namespace

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    ++opens()[path];
    const auto target = targets().find(path);
    if (target == targets().end()) {
        return __real_fopen(path, mode);
    }
    if (target->second.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    return __real_fopen(target->second.c_str(), mode);
}

namespace keldo::test {

void redirectFile(const std::string& path, const std::string& target) {
    targets()[path] = target;
}

int opensOf(const std::string& path) {
    return opens()[path];
}

} // namespace keldo::test
