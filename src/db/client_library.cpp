// SPDX-License-Identifier: MIT

#include "db/client_library.h"

#include <dlfcn.h>
#include <memory>
#include <mysql.h>

namespace {

struct close_library {
    void operator()(void* library) const noexcept { dlclose(library); }
};
using library_handle = std::unique_ptr<void, close_library>;

/* Only to be called with what mysql_init(), or one of them, has returned. mysql_options may be
 * null. */
struct client_functions {
    decltype(::mysql_close)* mysql_close;
    decltype(::mysql_errno)* mysql_errno;
    decltype(::mysql_error)* mysql_error;
    decltype(::mysql_fetch_fields)* mysql_fetch_fields;
    decltype(::mysql_fetch_lengths)* mysql_fetch_lengths;
    decltype(::mysql_fetch_row)* mysql_fetch_row;
    decltype(::mysql_free_result)* mysql_free_result;
    decltype(::mysql_init)* mysql_init;
    decltype(::mysql_num_fields)* mysql_num_fields;
    decltype(::mysql_options)* mysql_options;
    decltype(::mysql_query)* mysql_query;
    decltype(::mysql_real_connect)* mysql_real_connect;
    decltype(::mysql_real_escape_string)* mysql_real_escape_string;
    decltype(::mysql_real_query)* mysql_real_query;
    decltype(::mysql_store_result)* mysql_store_result;
};

/* Set by the first loading that succeeds; the library stays until the process ends. */
void* loaded_library = nullptr;
client_functions client;

/* As the linker finds it: where another library that was loaded before has it as well, as one that
 * looks on or answers in this one's place, that one's. */
template <typename Function> bool find_function(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
    return function != nullptr;
}

#define FIND(function) find_function(#function, client.function)

bool find_functions() {
    return FIND(mysql_close) && FIND(mysql_errno) && FIND(mysql_error) &&
           FIND(mysql_fetch_fields) && FIND(mysql_fetch_lengths) && FIND(mysql_fetch_row) &&
           FIND(mysql_free_result) && FIND(mysql_init) && FIND(mysql_num_fields) &&
           FIND(mysql_query) && FIND(mysql_real_connect) && FIND(mysql_real_escape_string) &&
           FIND(mysql_real_query) && FIND(mysql_store_result);
}

/* Whether both functions are in the same library. */
bool are_together(void* one, void* other) {
    Dl_info library;
    Dl_info library_of_other;
    return dladdr(one, &library) != 0 && dladdr(other, &library_of_other) != 0 &&
           library.dli_fbase == library_of_other.dli_fbase;
}

/* One that answers in this library's place need not know of options, and what it hands out as a
 * connection is nothing to set this one's in. */
void find_options() {
    if (!FIND(mysql_options) || !are_together(reinterpret_cast<void*>(client.mysql_init),
                                              reinterpret_cast<void*>(client.mysql_options))) {
        client.mysql_options = nullptr;
    }
}

#undef FIND

/* Loads the library where it is not there yet. */
bool is_loaded() {
    if (loaded_library == nullptr) {
        library_handle library(dlopen(KELDO_CLIENT_LIBRARY, RTLD_NOW | RTLD_GLOBAL));
        if (library && find_functions()) {
            find_options();
            loaded_library = library.release();
        }
    }
    return loaded_library != nullptr;
}

} // namespace

void load_client_library() {
    is_loaded();
}

// Each maker's header has other names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

MYSQL* mysql_init(MYSQL* db) {
    return is_loaded() ? client.mysql_init(db) : nullptr;
}

int mysql_options(MYSQL* db, enum mysql_option option, const void* value) {
    constexpr int unknown_option = 1;
    return client.mysql_options != nullptr ? client.mysql_options(db, option, value)
                                           : unknown_option;
}

MYSQL* mysql_real_connect(MYSQL* db, const char* host, const char* user, const char* password,
                          const char* name, unsigned int port, const char* socket,
                          unsigned long flags) {
    return client.mysql_real_connect(db, host, user, password, name, port, socket, flags);
}

void mysql_close(MYSQL* db) {
    client.mysql_close(db);
}

unsigned int mysql_errno(MYSQL* db) {
    return client.mysql_errno(db);
}

const char* mysql_error(MYSQL* db) {
    return client.mysql_error(db);
}

int mysql_query(MYSQL* db, const char* statement) {
    return client.mysql_query(db, statement);
}

int mysql_real_query(MYSQL* db, const char* statement, unsigned long length) {
    return client.mysql_real_query(db, statement, length);
}

// GCOVR_EXCL_START The program itself puts no values into statements.
unsigned long mysql_real_escape_string(MYSQL* db, char* escaped, const char* text,
                                       unsigned long length) {
    return client.mysql_real_escape_string(db, escaped, text, length);
}
// GCOVR_EXCL_STOP

MYSQL_RES* mysql_store_result(MYSQL* db) {
    return client.mysql_store_result(db);
}

void mysql_free_result(MYSQL_RES* result) {
    client.mysql_free_result(result);
}

unsigned int mysql_num_fields(MYSQL_RES* result) {
    return client.mysql_num_fields(result);
}

MYSQL_FIELD* mysql_fetch_fields(MYSQL_RES* result) {
    return client.mysql_fetch_fields(result);
}

MYSQL_ROW mysql_fetch_row(MYSQL_RES* result) {
    return client.mysql_fetch_row(result);
}

unsigned long* mysql_fetch_lengths(MYSQL_RES* result) {
    return client.mysql_fetch_lengths(result);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
