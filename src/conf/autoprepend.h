// SPDX-License-Identifier: MIT

#pragma once

/* The names of this file and of its tables, spelled as they are, stand in the texts of assertion
 * failures, by which the panel's developers search their logs.
 *
 * The panel's runtime configuration: 29 known variables, each with a compile-time default that the
 * panel configuration file overrides. The file is read by conf/read_configuration.h on the first
 * look-up that needs it and kept until exit; where that fails, each further look-up tries again.
 *
 * Every string returned stays valid and unchanged until exit and must not be freed. The state is
 * process-wide and for one thread only. */

/* The panel configuration file. */
extern const char* const kvrConfFile;

/* Loads the configuration file unless it is loaded. Returns 0, or -1 when it could not be read;
 * only that there is no memory for the configuration at all is printed, by report_error(). */
int kvrConfLoad();

/* The file's value of any variable, known or not, without a default. Null when the file lacks it
 * or cannot be loaded. */
const char* kvrConfGet(const char* name);

/* The file's value of the known variable at `index`, from 1 to 29; any other index is an assertion
 * failure. Null when the file lacks it or cannot be loaded. */
const char* kvrConfGetByIndex(int index);

/* As kvrConfGetByIndex(), with the compile-time default in place of null. */
const char* kvrConfGetDefaultByIndex(int index);

/* As kvrConfGetDefaultByIndex() for the known variable of that name. Any other name is reported by
 * report_error() on both standard streams and gives null, whatever the file says; a null name is
 * an assertion failure. */
const char* kvrConfGetDefault(const char* name);
