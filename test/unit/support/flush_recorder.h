// SPDX-License-Identifier: MIT

#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace keldo::test {

/// A stream buffer that copies its content at each flush.
class FlushRecorder : public std::stringbuf {
public:
    std::vector<std::string> flushes;

private:
    int sync() override {
        flushes.push_back(str());
        return 0;
    }
};

} // namespace keldo::test
