// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/* Reads the panel's configuration file. Each line is a variable: a name, white space, a value; `#`
 * starts a comment. Any name is accepted.
 *
 * Order of use: allocate a record with malloc() or calloc() and zero it, call conf_read_file_r()
 * (or conf_add_r() repeatedly and then conf_finalize_r()), then conf_get_r() as often as needed,
 * and conf_free_r() at the end. All state is in the record, so different records are independent.
 *
 * Problems go to the log hook (conf/messages.h) with the priority 12 (LOG_USER, LOG_WARNING). The
 * console writers do not print that priority unless log_setup() has raised their level. A null
 * record or an inconsistent table is an assertion failure. */

extern "C" {

/* One variable. Both strings come from strdup() and belong to the record. */
struct conf_pair {
    char* name;
    char* value;
};

/* A table of variables with unique names, in order of insertion until conf_finalize_r(). */
struct conf_rec {
    struct conf_pair* data; /* null until the first conf_init_r() */
    uint32_t size;          /* capacity of data, in entries */
    uint32_t nmemb;         /* entries in use, at most size */
    int sorted;             /* 1 if the entries are known to be in strcmp() order of name */
};

/* Makes room for one more entry; the first call allocates the array. Returns 0, or -1 with errno
 * ENOMEM and the table unchanged. */
int conf_init_r(struct conf_rec* pconf);

/* Copies both strings into the table. If the name is there already, its value is replaced. Returns
 * 0, or -1 with errno ENOMEM. */
int conf_add_r(const char* name, const char* value, struct conf_rec* pconf);

/* Adds every valid line of the file and sorts the table; invalid lines are logged and skipped.
 * Returns 0 if the whole file was read, or -1 with errno; lines read before the failure stay in the
 * table. */
int conf_read_file_r(const char* conf_file, struct conf_rec* pconf);

/* Sorts the table by name unless it is sorted. */
void conf_finalize_r(struct conf_rec* pconf);

/* Returns the value of `name`, which belongs to the record, or null if the table lacks the name.
 * Names are case-sensitive. The table need not be sorted. */
const char* conf_get_r(const char* name, const struct conf_rec* pconf);

/* Releases every string, the array and the record itself. `pconf` may be null. */
void conf_free_r(struct conf_rec* pconf);

} /* extern "C" */
