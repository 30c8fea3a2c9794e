// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>

/* Messages of the lower layers: formatted heap strings, the error reporter and the log hook.
 * Everything here works on the process-wide settings below and is for one thread only. */

/* When set, the error reporter puts its base name and ": " before each message. Null at start;
 * a program that sets it keeps the string alive. */
extern const char* program_path;

/* The log hook. `priority` is a syslog priority (facility plus level). The console writers below
 * are installed at start; log_setup() may install syslog() and vsyslog() instead. */
extern void (*log_fn)(int priority, const char* format, ...);
extern void (*vlog_fn)(int priority, const char* format, va_list args);

/* The highest priority value that the console writers print; 6 at start. */
extern int log_level;

/* Whether the log goes to the console, as log_setup() recorded it; no writer looks at it. 1 at
 * start. */
extern int log_to_console;

/* Whether messages and the log's console writers print on standard output as well as on standard
 * error. 1 at start; a program clears it whose standard output has to hold something else. */
extern int messages_on_stdout;

/* The facility that log_setup() gives to openlog(); 16 (LOG_MAIL) at start. */
extern int log_facility;

/* Formats like printf() into a string that the caller frees with free(). Never returns null: when
 * the string cannot be made, reports "Cannot allocate memory: ..." and exits with status 1. */
[[gnu::format(printf, 1, 2)]] char* msg_asprintf(const char* format, ...);
[[gnu::format(printf, 1, 0)]] char* msg_vasprintf(const char* format, va_list args);

/* Prints a message on standard error and then on standard output, each flushed: the prefix of
 * program_path if set, the formatted text, and a newline unless the text ends in one. Where errno
 * is not 0 at entry, the text gains a line "System error NUMBER: TEXT", unless both together
 * exceed 4095 bytes. Without memory the text is "Can't allocate memory for error message". Ends the
 * process with exit(exit_status) when exit_status is not 0. `unused` has no effect; callers pass 0
 * or 1. */
[[gnu::format(printf, 3, 4)]] void report_error(int exit_status, int unused, const char* format,
                                                ...);
[[gnu::format(printf, 3, 0)]] void report_verror(int exit_status, int unused, const char* format,
                                                 va_list args);

/* The console writers. Where `priority` is at most log_level, they write the formatted text and
 * always a newline, to standard error and then to standard output, each flushed. */
[[gnu::format(printf, 2, 3)]] void log_console(int priority, const char* format, ...);
[[gnu::format(printf, 2, 0)]] void log_vconsole(int priority, const char* format, va_list args);

/* Chooses where the log hook writes. A null `destination` means the system log, opened by
 * openlog(3) with `identity` (kept by reference), `options` plus LOG_PID, and `facility`; any other
 * means the console writers, and log_to_console then tells whether it begins with "console" in any
 * case. A `level` of 0 or less silences the console; may be called again at any time. */
void log_setup(const char* destination, int level, int facility, int options, const char* identity);
