// SPDX-License-Identifier: MIT

#include "inspect/names.h"

#include "xml/characters.h"

#include <array>
#include <ctime>

namespace keldo::inspect {

namespace {

constexpr std::size_t detailLimit = 4096;

} // namespace

const char* nameOf(State state) {
    switch (state) {
    case State::up:
        return "up";
    case State::down:
        return "down";
    case State::stopped:
        return "stopped";
    case State::unchecked:
        return "unchecked";
    case State::unknown:
        break;
    }
    return "unknown";
}

const char* nameOf(Origin origin) {
    return origin == Origin::core ? "core" : "started";
}

const char* nameOf(TestState state) {
    switch (state) {
    case TestState::ok:
        return "ok";
    case TestState::failed:
        return "failed";
    case TestState::untested:
        break;
    }
    return "untested";
}

const char* nameOf(TestKind kind) {
    switch (kind) {
    case TestKind::pidFile:
        return "pid_file";
    case TestKind::unixSocket:
        return "unix_socket";
    case TestKind::port:
        return "port";
    case TestKind::connection:
        break;
    }
    return "connection";
}

const char* nameOf(DependencyState state) {
    switch (state) {
    case DependencyState::ok:
        return "ok";
    case DependencyState::missing:
        return "missing";
    case DependencyState::unasked:
        return "unasked";
    case DependencyState::failed:
        break;
    }
    return "failed";
}

const char* nameOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::well:
        return "well";
    case Verdict::problems:
        return "problems";
    case Verdict::upgrade:
        return "upgrade";
    case Verdict::unknown:
        break;
    }
    return "unknown";
}

std::string timeText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ",
                                             &utc); // the same in every locale
    return {text.data(), length};
}

std::string secondsText(std::chrono::milliseconds time) {
    const std::string fourDigits = std::to_string(time.count() % 1000 + 1000);
    return std::to_string(time.count() / 1000) + "." + fourDigits.substr(1);
}

std::string detailText(const std::string& words) {
    std::string text = replaceInvalidXml(words).value_or(words);
    if (text.size() > detailLimit) {
        std::size_t end = detailLimit;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

} // namespace keldo::inspect
