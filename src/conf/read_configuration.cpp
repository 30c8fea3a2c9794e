// SPDX-License-Identifier: MIT

#include "conf/read_configuration.h"

#include "conf/assertion.h"
#include "conf/handles.h"
#include "conf/messages.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <search.h>
#include <syslog.h>

#define KVR_ASSERT_TABLE(pconf)                                                                    \
    KVR_ASSERT((pconf) != nullptr && (pconf)->data != nullptr && (pconf)->size >= (pconf)->nmemb,  \
               "((void *)0) != pconf && ((void *)0) != pconf->data && "                            \
               "pconf->size >= pconf->nmemb")

namespace {

const int log_priority = LOG_USER | LOG_WARNING;

/* Capacity in entries. The largest capacity keeps the array's size in bytes within 32 bits on
 * platforms where a pair takes 8 bytes. */
const uint32_t first_capacity = 20;
const uint32_t capacity_step = 20;
const uint32_t largest_capacity = 536870910;

/* isspace() and isalnum() of the POSIX locale: the meaning of a file must not depend on the
 * language of the report. */
bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

char* skip_space(char* text) {
    while (is_space(*text)) {
        ++text;
    }
    return text;
}

int compare_names(const void* left, const void* right) {
    return strcmp(static_cast<const conf_pair*>(left)->name,
                  static_cast<const conf_pair*>(right)->name);
}

/* Sets `capacity` to the next size of a full table: twice its size, or its entries plus a step if
 * that is not enough. Returns 0, or -1 if the table may not grow to that size. A capacity of 0 is
 * refused, since realloc() would free the array. */
int next_capacity(const conf_rec* pconf, uint32_t* capacity) {
    *capacity = pconf->size >= INT32_MAX ? 0 : pconf->size * 2;
    if (pconf->nmemb > *capacity) {
        if (pconf->nmemb >= UINT32_MAX - capacity_step) {
            return -1;
        }
        *capacity = pconf->nmemb + capacity_step;
    }
    return *capacity == 0 || *capacity > largest_capacity ? -1 : 0;
}

int allocate_table(conf_rec* pconf) {
    pconf->data = static_cast<conf_pair*>(calloc(first_capacity, sizeof(conf_pair)));
    if (pconf->data == nullptr) {
        pconf->size = 0;
        errno = ENOMEM; /* a replaced allocator may not set it */
        return -1;
    }
    pconf->size = first_capacity;
    pconf->nmemb = 0;
    pconf->sorted = 1;
    return 0;
}

int grow_table(conf_rec* pconf) {
    uint32_t capacity = 0;
    void* data = nullptr;
    if (next_capacity(pconf, &capacity) == 0) {
        data = realloc(pconf->data, capacity * sizeof(conf_pair));
    }
    if (data == nullptr) {
        log_fn(log_priority, "Unable to read configuration: %s", strerror(ENOMEM));
        errno = ENOMEM;
        return -1;
    }
    pconf->data = static_cast<conf_pair*>(data);
    /* conf_free_r() frees the strings of the whole capacity. */
    memset(pconf->data + pconf->size, 0, (capacity - pconf->size) * sizeof(conf_pair));
    pconf->size = capacity;
    return 0;
}

/* Returns the end of the value that begins at `value`: the end of the line or a `#`. If an odd
 * number of white space characters precedes that end, the value loses the last of them: each white
 * space character sets the cut if it is not set, and removes it if it is. Panels have long written
 * values that end in blanks, so this rule is part of the format. */
char* end_of_value(char* value) {
    char* cut = nullptr;
    char* end = value + 1;
    for (; *end != '\0' && *end != '#'; ++end) {
        cut = is_space(*end) && cut == nullptr ? end : nullptr;
    }
    return cut != nullptr ? cut : end;
}

/* Splits `line` in place. Returns true with `name` and `value` pointing into it, or false if the
 * line is blank, a comment or invalid. An invalid line is logged. */
bool parse_line(char* line, char** name, char** value) {
    *name = skip_space(line);
    if (**name == '\0' || **name == '#') {
        return false;
    }
    char* end_of_name = *name;
    while (is_name_character(*end_of_name)) {
        ++end_of_name;
    }
    if (!is_space(*end_of_name)) {
        log_fn(log_priority,
               "Invalid variable definition %s\nExpected a space after variable name\n", *name);
        return false;
    }
    *value = skip_space(end_of_name);
    if (**value == '\0' || **value == '#') {
        log_fn(log_priority, "Invalid variable definition %s\nExpected a value", *name);
        return false;
    }
    *end_of_value(*value) = '\0';
    *end_of_name = '\0';
    return true;
}

/* Reads the next line with its newline into `line` of `capacity` bytes and enlarges it as needed.
 * Returns 0, or -1 at the end of the file or on an error. */
int read_line(FILE* file, heap_text* line, size_t* capacity) {
    char* text = line->release();
    const ssize_t length = getdelim(&text, capacity, '\n', file);
    line->reset(text);
    return length == -1 ? -1 : 0;
}

/* Adds every valid line of `file` up to its end or to a read error. Returns 0, or -1 with errno if
 * a line cannot be added. */
int add_lines(FILE* file, conf_rec* pconf) {
    heap_text line;
    size_t capacity = 0;
    while (read_line(file, &line, &capacity) == 0) {
        char* name = nullptr;
        char* value = nullptr;
        if (parse_line(line.get(), &name, &value) && conf_add_r(name, value, pconf) == -1) {
            return -1;
        }
    }
    return 0;
}

} // namespace

int conf_init_r(conf_rec* pconf) {
    KVR_ASSERT(pconf != nullptr, "((void *)0) != pconf");
    if (pconf->data == nullptr) {
        return allocate_table(pconf);
    }
    return pconf->nmemb < pconf->size ? 0 : grow_table(pconf);
}

int conf_add_r(const char* name, const char* value, conf_rec* pconf) {
    if (conf_init_r(pconf) == -1) {
        return -1;
    }
    conf_pair pair = {.name = strdup(name), .value = strdup(value)};
    if (pair.name == nullptr || pair.value == nullptr) {
        log_fn(log_priority, "Unable to form configuration: %s", strerror(ENOMEM));
        free(pair.name);
        free(pair.value);
        errno = ENOMEM;
        return -1;
    }
    size_t count = pconf->nmemb;
    auto* const entry = static_cast<conf_pair*>(
        lsearch(&pair, pconf->data, &count, sizeof(conf_pair), compare_names));
    if (count == pconf->nmemb) {
        free(entry->value);
        entry->value = pair.value;
        free(pair.name);
    } else {
        pconf->nmemb = static_cast<uint32_t>(count);
        pconf->sorted = 0;
    }
    return 0;
}

int conf_read_file_r(const char* conf_file, conf_rec* pconf) {
    KVR_ASSERT(conf_file != nullptr && pconf != nullptr,
               "((void *)0) != conf_file && ((void *)0) != pconf");
    if (conf_init_r(pconf) == -1) {
        return -1;
    }
    file_handle file(fopen(conf_file, "rt"));
    if (!file) {
        const int error = errno;
        log_fn(log_priority, "unable to open configuration file %s: %s\n", conf_file,
               strerror(error));
        errno = error;
        return -1;
    }
    if (add_lines(file.get(), pconf) == -1) {
        return -1;
    }
    const int error = errno; /* sorting may change it */
    conf_finalize_r(pconf);
    if (feof(file.get()) != 0 && ferror(file.get()) == 0) {
        return 0;
    }
    log_fn(log_priority, "Unable to read configuration file: %s", strerror(error));
    errno = error;
    return -1;
}

void conf_finalize_r(conf_rec* pconf) {
    KVR_ASSERT_TABLE(pconf);
    if (pconf->sorted == 0) {
        qsort(pconf->data, pconf->nmemb, sizeof(conf_pair), compare_names);
        pconf->sorted = 1;
    }
}

const char* conf_get_r(const char* name, const conf_rec* pconf) {
    KVR_ASSERT_TABLE(pconf);
    /* Both searches read only the key's name. */
    const conf_pair key = {.name = const_cast<char*>(name), .value = nullptr};
    size_t count = pconf->nmemb;
    const void* const entry =
        pconf->sorted != 0 ? bsearch(&key, pconf->data, count, sizeof(conf_pair), compare_names)
                           : lfind(&key, pconf->data, &count, sizeof(conf_pair), compare_names);
    return entry == nullptr ? nullptr : static_cast<const conf_pair*>(entry)->value;
}

void conf_free_r(conf_rec* pconf) {
    if (pconf == nullptr) {
        return;
    }
    if (pconf->data != nullptr) {
        for (uint32_t i = 0; i < pconf->size; ++i) {
            free(pconf->data[i].name);
            free(pconf->data[i].value);
        }
        free(pconf->data);
    }
    free(pconf);
}
