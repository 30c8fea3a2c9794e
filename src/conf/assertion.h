// SPDX-License-Identifier: MIT

#pragma once

/* Ends the process by abort() unless `condition` holds, in every build type: NDEBUG has no say.
 * `text` is what the message shows for the condition. It is written out by the caller because the
 * texts are part of what the panel's developers search their logs for, while what the
 * preprocessor would make of NULL differs from compiler to compiler. The message on standard
 * error is that of assert(), with the file's base name as its source. */
#define KVR_ASSERT(condition, text)                                                                \
    ((condition) ? static_cast<void>(0)                                                            \
                 : assertion_failed(text, __FILE_NAME__, __LINE__, __PRETTY_FUNCTION__))

/* Prints "PROGRAM: SOURCE:LINE: FUNCTION: Assertion `TEXT' failed." on standard error and aborts.
 * For KVR_ASSERT. */
[[noreturn]] void assertion_failed(const char* text, const char* source, int line,
                                   const char* function);
