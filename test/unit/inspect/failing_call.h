// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::inspect {

/// While it lives, the next calls of a C function fail with an error number, in this process and in
/// new children. The functions are those that tests.cmake wraps. Use one at a time.
class FailingCall {
public:
    static constexpr int always = -1;

    explicit FailingCall(const char* function, int error = 0, int times = always);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();
};

} // namespace keldo::inspect
