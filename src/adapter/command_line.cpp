// SPDX-License-Identifier: MIT

#include "adapter/command_line.h"

#include "adapter/file.h"
#include "exec/program_version.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <unistd.h>

namespace keldo::adapter {

namespace {

using std::chrono::milliseconds;

constexpr const char* usage = "usage: monit-check-status -c FILE -x check-status [-b SECONDS]";

/// Reads SECONDS. Returns nothing for anything else. The locale does not matter.
std::optional<milliseconds> readSeconds(std::string_view text) {
    constexpr size_t decimals = 3;
    constexpr milliseconds longest = std::chrono::hours(24);
    const size_t point = std::min(text.find('.'), text.size());
    std::string fraction(text.substr(std::min(point + 1, text.size())));
    const bool hasEmptyFraction = point + 1 == text.size();
    if (point == 0 || hasEmptyFraction || fraction.size() > decimals) {
        return std::nullopt;
    }
    fraction.resize(decimals, '0');
    const std::string digits = std::string(text.substr(0, point)) + fraction;
    int count = 0; // from_chars() accepts a minus sign, which leaves the range
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (error != std::errc() || end != digits.data() + digits.size() || count < 1 ||
        count > longest.count()) {
        return std::nullopt;
    }
    return milliseconds(count);
}

} // namespace

std::optional<std::string> requestedText(int argc, char** argv) {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--version") {
        return std::string("monit-check-status ") + programVersion + "\n";
    }
    if (option == "--help") {
        return std::string(usage) + "\n   or: monit-check-status --version | --help\n";
    }
    return std::nullopt;
}

Request readCommandLine(int argc, char** argv) {
    Request request;
    bool hasFile = false;
    bool isCheck = false;
    bool isWrong = false;
    opterr = 0;
    for (int option = 0; (option = getopt(argc, argv, "+:c:x:b:")) != -1;) {
        if (option == 'c') {
            request.controlFile = optarg;
            hasFile = true;
        } else if (option == 'x' && std::string_view(optarg) == "check-status") {
            isCheck = true;
        } else if (option == 'b') {
            request.limit = readSeconds(optarg);
            isWrong = isWrong || !request.limit;
        } else {
            isWrong = true;
        }
    }
    if (isWrong || !hasFile || !isCheck || optind != argc) {
        throw Failure(usage);
    }
    return request;
}

} // namespace keldo::adapter
