// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>

/* Messages of the lower layers: formatted heap strings, the error reporter and the log hook.
 * Everything here uses the process-wide settings below and is for one thread only. */

extern "C" {

/* The path of the program, or null for none; null at start. The error reporter begins each message
 * with the path's POSIX basename() and ": ". The string must stay valid while it is set. */
extern const char* program_path;

/* The log hook. `priority` is a syslog priority (facility plus level). At start these are the
 * console writers below; log_setup() may install syslog() and vsyslog() instead. */
extern void (*log_fn)(int priority, const char* format, ...);
extern void (*vlog_fn)(int priority, const char* format, va_list args);

/* The highest priority value that the console writers print; 6 at start. */
extern int log_level;

/* Whether the log goes to the console, as log_setup() recorded it. 1 at start. No writer uses it.
 */
extern int log_to_console;

/* Whether the error reporter and the console writers print on standard output in addition to
 * standard error. 1 at start; a program clears it if its standard output must hold something else.
 */
extern int messages_on_stdout;

/* The facility that log_setup() gives to openlog(); 16 (LOG_MAIL) at start. */
extern int log_facility;

/* Formats like printf() into a string that the caller frees with free(). Never returns null:
 * without memory, reports "Cannot allocate memory: ..." and exits with status 1. */
[[gnu::format(printf, 1, 2)]] char* msg_asprintf(const char* format, ...);
[[gnu::format(printf, 1, 0)]] char* msg_vasprintf(const char* format, va_list args);

/* Prints a message on standard error and then on standard output, and flushes each. The message is
 * the prefix from program_path, the formatted text, and a newline unless the text ends in one. If
 * errno is not 0 at entry, a line "System error NUMBER: TEXT" is added to the text, unless both
 * together exceed 4095 bytes. Without memory the text is "Can't allocate memory for error message".
 * Calls exit(exit_status) if exit_status is not 0. `unused` has no effect; callers pass 0 or 1. */
[[gnu::format(printf, 3, 4)]] void report_error(int exit_status, int unused, const char* format,
                                                ...);
[[gnu::format(printf, 3, 0)]] void report_verror(int exit_status, int unused, const char* format,
                                                 va_list args);

/* The console writers. If `priority` is at most log_level, they write the formatted text and always
 * a newline to standard error and then to standard output, and flush each. */
[[gnu::format(printf, 2, 3)]] void log_console(int priority, const char* format, ...);
[[gnu::format(printf, 2, 0)]] void log_vconsole(int priority, const char* format, va_list args);

/* Chooses where the log hook writes. If `destination` is null, it writes to the system log, opened
 * by openlog(3) with `identity` (kept by reference), `options` plus LOG_PID, and `facility`.
 * Otherwise it uses the console writers; log_to_console then becomes 1 only if `destination` begins
 * with "console" in upper or lower case. A `level` of 0 or less silences the console. May be called
 * repeatedly. */
void log_setup(const char* destination, int level, int facility, int options, const char* identity);

} /* extern "C" */
