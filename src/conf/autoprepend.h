// SPDX-License-Identifier: MIT

#pragma once

/* The panel's runtime configuration: 29 known variables, each with a compile-time default that the
 * panel configuration file overrides. The first look-up that needs the file reads it with
 * conf/read_configuration.h and keeps it until exit; if reading fails, the next look-up tries
 * again.
 *
 * Every string returned stays valid and unchanged until exit and must not be freed. The state is
 * process-wide and for one thread only.
 *
 * Do not rename this file or its tables: assertion messages contain their names, and the panel's
 * developers search their logs for these messages. */

extern "C" {

/* The panel configuration file. */
extern const char* const kvrConfFile;

/* Loads the configuration file unless it is loaded already. Returns 0, or -1 if it could not be
 * read. Prints nothing, except a message by report_error() if there is no memory for the record. */
int kvrConfLoad();

/* Returns the file's value of any variable, known or not, without a default. Null if the file lacks
 * it or cannot be loaded. */
const char* kvrConfGet(const char* name);

/* Returns the file's value of the known variable at `index`, from 1 to 29; any other index is an
 * assertion failure. Null if the file lacks it or cannot be loaded. */
const char* kvrConfGetByIndex(int index);

/* Like kvrConfGetByIndex(), but returns the compile-time default instead of null. */
const char* kvrConfGetDefaultByIndex(int index);

/* Like kvrConfGetDefaultByIndex(), for the known variable `name`. For any other name,
 * report_error() prints a message on both standard streams and the result is null, whatever the
 * file says. A null name is an assertion failure. */
const char* kvrConfGetDefault(const char* name);

} /* extern "C" */
