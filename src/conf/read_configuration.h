// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/* The panel's configuration file: one variable per line, a name, white space, a value; `#` starts
 * a comment. This reader knows nothing of which names exist.
 *
 * Order of use: allocate a record with malloc() or calloc() and zero it, call conf_read_file_r()
 * (or conf_add_r() repeatedly and then conf_finalize_r()), then conf_get_r() as often as needed,
 * and conf_free_r() at the end. All state is in the record: different records may be used at the
 * same time.
 *
 * Nothing is printed here. Problems go to the log hook (conf/messages.h) with the priority of a
 * user warning, 12, which the hook does not show unless log_setup() has raised its level. A null
 * record, or one whose table is inconsistent, is an assertion failure. */

/* One variable. Both strings are from strdup() and belong to the record. */
struct conf_pair {
    char* name;
    char* value;
};

/* A table of variables with unique names, in the order of insertion until conf_finalize_r(). */
struct conf_rec {
    struct conf_pair* data; /* null until the first conf_init_r() */
    uint32_t size;          /* capacity of data, in entries */
    uint32_t nmemb;         /* entries in use, at most size */
    int sorted;             /* 1 while the entries are known to be in strcmp() order of name */
};

/* Makes sure that one more entry fits; the first call allocates the array. Returns 0, or -1 with
 * errno ENOMEM and no entry changed. */
int conf_init_r(struct conf_rec* pconf);

/* Copies both strings into the table. The value of a name that is there already is replaced in its
 * place. Returns 0, or -1 with errno ENOMEM. */
int conf_add_r(const char* name, const char* value, struct conf_rec* pconf);

/* Adds every valid line of the file and sorts the table; invalid lines are logged and skipped.
 * Returns 0 when the whole file was read, or -1 with errno telling why not; what was read until
 * then stays in the table. */
int conf_read_file_r(const char* conf_file, struct conf_rec* pconf);

/* Sorts the table by name where it is not sorted. */
void conf_finalize_r(struct conf_rec* pconf);

/* Returns the value of `name`, compared case-sensitively; it belongs to the record. Null when the
 * table has no such name. Works on an unsorted table as well. */
const char* conf_get_r(const char* name, const struct conf_rec* pconf);

/* Releases every string, the array and the record itself. `pconf` may be null. */
void conf_free_r(struct conf_rec* pconf);
