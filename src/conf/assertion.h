// SPDX-License-Identifier: MIT

#pragma once

/* Aborts the process unless `condition` holds, in every build type; NDEBUG has no effect.
 * `text` is the condition as the message shows it. The caller spells it out: the panel's developers
 * search their logs for exactly this text, and #condition would differ from it. The message on
 * standard error is that of assert(), with the file's base name as its source. */
#define KVR_ASSERT(condition, text)                                                                \
    ((condition) ? static_cast<void>(0)                                                            \
                 : assertion_failed(text, __FILE_NAME__, __LINE__, __PRETTY_FUNCTION__))

extern "C" {

/* Prints "PROGRAM: SOURCE:LINE: FUNCTION: Assertion `TEXT' failed." on standard error and aborts.
 * For KVR_ASSERT. */
[[noreturn]] void assertion_failed(const char* text, const char* source, int line,
                                   const char* function);

} /* extern "C" */
