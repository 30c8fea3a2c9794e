// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"

#include <string>

/// Names and values as both documents, XML and JSON, write them.
namespace keldo::inspect {

const char* nameOf(State state);
const char* nameOf(Origin origin);
const char* nameOf(TestState state);
const char* nameOf(TestKind kind);
const char* nameOf(DependencyState state);
const char* nameOf(Verdict verdict);

/// UTC, in the form of RFC 3339: 2026-11-22T00:20:11Z.
std::string timeText(std::chrono::system_clock::time_point time);

inline std::chrono::milliseconds inMilliseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration);
}

/// Milliseconds as seconds with three decimals, in every locale: 0.412.
std::string secondsText(std::chrono::milliseconds time);

/// Another program's output as the documents show it: the first 4 KiB, cut between characters.
std::string detailText(const std::string& words);

} // namespace keldo::inspect
