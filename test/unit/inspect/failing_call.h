// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::inspect {

/// While it lives, calls of a C function fail with an error number, in this process and in new
/// children: `times` calls after the first `good` ones. The functions are those that tests.cmake
/// wraps. Use one at a time.
class FailingCall {
public:
    static constexpr int always = -1;

    explicit FailingCall(const char* function, int error = 0, int times = always, int good = 0);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();
};

} // namespace keldo::inspect
