// SPDX-License-Identifier: MIT

#include "conf/process_state.h"

#include "conf/messages.h"

#include <syslog.h>

/* The process-wide state of this folder. All of it lives until exit. */

/* Set by conf/autoprepend.cpp; see conf/process_state.h. */
conf_rec* theKvrConf = nullptr;
const char* kvrConfCache[kvrConfCacheSize];
bool kvrConfCacheCleared = false;

/* Set by the program at any time. keldoctl clears messages_on_stdout if it cannot silence standard
 * output, and sets it again before the report. */
const char* program_path = nullptr;
int messages_on_stdout = 1;

/* Set by log_setup(), which keldoctl does not call. */
void (*log_fn)(int priority, const char* format, ...) = log_console;
void (*vlog_fn)(int priority, const char* format, va_list args) = log_vconsole;
int log_level = LOG_INFO;
int log_to_console = 1;
int log_facility = LOG_MAIL;
