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

/* Only to be called with what mysql_init(), or one of them, has returned. */
struct client_functions {
    decltype(mysql_close)* close;
    decltype(mysql_errno)* error_number;
    decltype(mysql_error)* error_text;
    decltype(mysql_fetch_fields)* fetch_fields;
    decltype(mysql_fetch_lengths)* fetch_lengths;
    decltype(mysql_fetch_row)* fetch_row;
    decltype(mysql_free_result)* free_result;
    decltype(mysql_init)* init;
    decltype(mysql_num_fields)* num_fields;
    decltype(mysql_options)* options;
    decltype(mysql_query)* query;
    decltype(mysql_real_connect)* real_connect;
    decltype(mysql_real_escape_string)* real_escape_string;
    decltype(mysql_real_query)* real_query;
    decltype(mysql_store_result)* store_result;
};

client_functions client;

/* As the linker finds it: where another library that was loaded before has it as well, as one that
 * looks on or answers in this one's place, that one's. */
template <typename Function> bool find_function(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
    return function != nullptr;
}

bool find_functions() {
    return find_function("mysql_close", client.close) &&
           find_function("mysql_errno", client.error_number) &&
           find_function("mysql_error", client.error_text) &&
           find_function("mysql_fetch_fields", client.fetch_fields) &&
           find_function("mysql_fetch_lengths", client.fetch_lengths) &&
           find_function("mysql_fetch_row", client.fetch_row) &&
           find_function("mysql_free_result", client.free_result) &&
           find_function("mysql_init", client.init) &&
           find_function("mysql_num_fields", client.num_fields) &&
           find_function("mysql_options", client.options) &&
           find_function("mysql_query", client.query) &&
           find_function("mysql_real_connect", client.real_connect) &&
           find_function("mysql_real_escape_string", client.real_escape_string) &&
           find_function("mysql_real_query", client.real_query) &&
           find_function("mysql_store_result", client.store_result);
}

/* Loads the library where it is not there yet; it stays until the process ends. */
bool is_loaded() {
    static void* loaded = nullptr;
    if (loaded == nullptr) {
        library_handle library(dlopen(KELDO_CLIENT_LIBRARY, RTLD_NOW | RTLD_GLOBAL));
        if (library && find_functions()) {
            loaded = library.release();
        }
    }
    return loaded != nullptr;
}

} // namespace

void load_client_library() {
    is_loaded();
}

// Each maker's header has other names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

MYSQL* mysql_init(MYSQL* db) {
    return is_loaded() ? client.init(db) : nullptr;
}

int mysql_options(MYSQL* db, enum mysql_option option, const void* value) {
    return client.options(db, option, value);
}

MYSQL* mysql_real_connect(MYSQL* db, const char* host, const char* user, const char* password,
                          const char* name, unsigned int port, const char* socket,
                          unsigned long flags) {
    return client.real_connect(db, host, user, password, name, port, socket, flags);
}

void mysql_close(MYSQL* db) {
    client.close(db);
}

unsigned int mysql_errno(MYSQL* db) {
    return client.error_number(db);
}

const char* mysql_error(MYSQL* db) {
    return client.error_text(db);
}

int mysql_query(MYSQL* db, const char* statement) {
    return client.query(db, statement);
}

int mysql_real_query(MYSQL* db, const char* statement, unsigned long length) {
    return client.real_query(db, statement, length);
}

// GCOVR_EXCL_START The program itself puts no values into statements.
unsigned long mysql_real_escape_string(MYSQL* db, char* escaped, const char* text,
                                       unsigned long length) {
    return client.real_escape_string(db, escaped, text, length);
}
// GCOVR_EXCL_STOP

MYSQL_RES* mysql_store_result(MYSQL* db) {
    return client.store_result(db);
}

void mysql_free_result(MYSQL_RES* result) {
    client.free_result(result);
}

unsigned int mysql_num_fields(MYSQL_RES* result) {
    return client.num_fields(result);
}

MYSQL_FIELD* mysql_fetch_fields(MYSQL_RES* result) {
    return client.fetch_fields(result);
}

MYSQL_ROW mysql_fetch_row(MYSQL_RES* result) {
    return client.fetch_row(result);
}

unsigned long* mysql_fetch_lengths(MYSQL_RES* result) {
    return client.fetch_lengths(result);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
