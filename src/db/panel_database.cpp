// SPDX-License-Identifier: MIT

#include "db/panel_database.h"

#include "conf/handles.h"
#include "conf/messages.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

const char* const kvrShadowFile = "/etc/kvr/.kvr.shadow";

namespace {

/* The process-wide state of this folder. It lives until the process ends. */

/* The functions of the loaded library; db_client() fills it once. */
client_library loaded_library = {};

/* What db_client() returns: null, `loaded_library`, or the record of db_use_client(). */
const client_library* client_in_use = nullptr;

/* The last character set that was chosen; see db_utf8_mode(). Never reset. */
int db_names_utf8 = -1;

/* Receives the error number of the client library during db_probe(); null at other times. */
unsigned int* probe_error = nullptr;

/* The connection of kvrDbUtf8Mode(), kept here so that leak checkers find it. */
MYSQL* utf8_mode_connection = nullptr;

const char* const db_host = "localhost";
const char* const db_user = "admin";
const char* const db_name = "kvr";

/* With room for the terminator. */
const size_t password_size = 100;

/* Limits in seconds on each wait for the server, which may accept connections and then hang. The
 * first limit holds until the handshake is complete, the second afterwards. */
const unsigned int connect_time_limit = 10;
const unsigned int answer_time_limit = 60;

/* 0: send no file, whatever the server asks for. */
const unsigned int local_infile = 0;

struct free_result {
    void operator()(MYSQL_RES* result) const noexcept { db_client()->free_result(result); }
};
using result_handle = std::unique_ptr<MYSQL_RES, free_result>;

/* Returns 0, or -1 with a message. Drops only the newline: a carriage return or blanks at the end
 * of the line belong to the password. */
int read_password(char* password, char* error, size_t size) {
    const file_handle file(fopen(kvrShadowFile, "rt"));
    if (!file) {
        snprintf(error, size, "Unable to open admin password file: %s", strerror(errno));
        return -1;
    }
    if (fgets(password, password_size, file.get()) == nullptr) {
        snprintf(error, size, "Unable to read admin password file: %s", strerror(errno));
        return -1;
    }
    const size_t length = strlen(password);
    if (length > 0 && password[length - 1] == '\n') {
        password[length - 1] = '\0';
    }
    return 0;
}

void set_option(MYSQL* db, mysql_option option, const void* value) {
    const auto options = db_client()->options;
    if (options != nullptr) {
        options(db, option, value); // fails for an unknown option; connecting works without it
    }
}

/* Allows only authentication plugins that do not send the password in clear, as
 * mysql_clear_password and dialog do. Only MariaDB's library has this option; MySQL's sends no
 * password in clear by default. */
void refuse_clear_passwords([[maybe_unused]] MYSQL* db) {
#if defined(MARIADB_PACKAGE_VERSION_ID) && MARIADB_PACKAGE_VERSION_ID >= 30300
    set_option(db, MARIADB_OPT_RESTRICTED_AUTH,
               "mysql_native_password,mysql_old_password,client_ed25519,parsec,"
               "caching_sha2_password,sha256_password,auth_gssapi_client");
#endif
}

void set_options(MYSQL* db) {
    set_option(db, MYSQL_OPT_CONNECT_TIMEOUT, &connect_time_limit);
    set_option(db, MYSQL_OPT_READ_TIMEOUT, &answer_time_limit);
    set_option(db, MYSQL_OPT_WRITE_TIMEOUT, &answer_time_limit);
    set_option(db, MYSQL_OPT_LOCAL_INFILE, &local_infile);
    refuse_clear_passwords(db);
}

/* Returns the connection; closes it and returns null if its last call failed. */
MYSQL* close_if_failed(MYSQL* db) {
    const unsigned int number = db_client()->error_number(db);
    if (number == 0) {
        return db;
    }
    if (probe_error != nullptr) {
        *probe_error = number;
    }
    db_client()->close(db);
    return nullptr;
}

/* Describes the failure of the step `label`. Returns -1. */
int step_failed(MYSQL* db, const char* label, char* error, size_t size) {
    if (db_client()->error_number(db) != 0) {
        snprintf(error, size, "DB error (%s) %u: %s", label, db_client()->error_number(db),
                 db_client()->error_text(db));
    } else {
        snprintf(error, size, "DB error (%s): unknown error", label);
    }
    return -1;
}

bool starts_with(const char* text, const char* start) {
    return strncmp(text, start, strlen(start)) == 0;
}

/* Returns 1 for a server before 4.1, which has no connection character sets, 0 for a newer server,
 * and -1 with a message on failure. */
int is_server_without_charsets(MYSQL* db, char* error, size_t size) {
    if (db_client()->query(db, "SHOW VARIABLES LIKE 'version'") != 0) {
        return step_failed(db, "query version", error, size);
    }
    const result_handle result(db_client()->store_result(db));
    if (!result) {
        return step_failed(db, "store query result", error, size);
    }
    MYSQL_ROW row = db_client()->fetch_row(result.get());
    if (row == nullptr) {
        return step_failed(db, "fetch version row", error, size);
    }
    const char* const version = row[1];
    if (version == nullptr) {
        return step_failed(db, "empty version result", error, size);
    }
    return starts_with(version, "3.") || starts_with(version, "4.0.") ? 1 : 0;
}

/* Reads the result of the query for "mysql41_compatible". Returns 1 for UTF-8, 0 for binary. */
int stored_utf8_mode(MYSQL* db) {
    const result_handle result(db_client()->store_result(db));
    MYSQL_ROW row = result ? db_client()->fetch_row(result.get()) : nullptr;
    const char* const value = row != nullptr ? row[0] : nullptr;
    return value != nullptr && value[0] != '\0' && strcmp(value, "false") != 0 ? 1 : 0;
}

/* The common part of db_connect() and db_connect_setup(). */
MYSQL* connect_and_prepare(char* error, size_t size) {
    MYSQL* const db = db_connect_checked(error, size);
    if (db != nullptr) {
        db_client()->query(db, "set foreign_key_checks=0");
        db_set_names(db, error, size);
    }
    return db;
}

} // namespace

const client_library* db_client() {
    if (client_in_use == nullptr && load_client_library(&loaded_library) == 0) {
        client_in_use = &loaded_library;
    }
    return client_in_use;
}

void db_use_client(const client_library* functions) {
    client_in_use = functions;
}

MYSQL* db_connect_admin(char* error, size_t size) {
    char password[password_size];
    if (read_password(password, error, size) == -1) {
        return nullptr;
    }
    const client_library* const client = db_client();
    MYSQL* const db = client != nullptr ? client->init(nullptr) : nullptr;
    if (db == nullptr) {
        snprintf(error, size, "Unable to initialize MySQL connection structure: %s",
                 strerror(ENOMEM));
        errno = ENOMEM;
        return nullptr;
    }
    set_options(db);
    if (client->real_connect(db, db_host, db_user, password, db_name, 0, nullptr, 0) == nullptr) {
        if (probe_error != nullptr) {
            *probe_error = db_client()->error_number(db);
        }
        snprintf(error, size, "Unable to connect to Keldo Database: %s",
                 db_client()->error_text(db));
        db_client()->close(db);
        return nullptr;
    }
    return db;
}

MYSQL* db_connect_checked(char* error, size_t size) {
    MYSQL* const db = db_connect_admin(error, size);
    return db != nullptr ? close_if_failed(db) : nullptr;
}

MYSQL* db_connect(char* error, size_t size) {
    MYSQL* const db = connect_and_prepare(error, size);
    return db != nullptr ? close_if_failed(db) : nullptr;
}

MYSQL* db_connect_setup(char* error, size_t size) {
    return connect_and_prepare(error, size);
}

int db_set_names(MYSQL* db, char* error, size_t size) {
    const int old_server = is_server_without_charsets(db, error, size);
    if (old_server == -1) {
        return -1;
    }
    if (old_server == 1) {
        db_names_utf8 = 0;
        return 0;
    }
    if (db_client()->query(db, "SELECT val FROM misc WHERE param='mysql41_compatible'") != 0) {
        return step_failed(db, "mysql41 compatible query", error, size);
    }
    db_names_utf8 = stored_utf8_mode(db);
    if (db_client()->query(db, db_names_utf8 == 1 ? "SET NAMES utf8" : "SET NAMES binary") != 0) {
        return step_failed(db, "set names query", error, size);
    }
    return 0;
}

int db_probe(char* error, size_t size, unsigned int* number) {
    *number = 0;
    probe_error = number;
    MYSQL* const db = db_connect(error, size);
    probe_error = nullptr;
    if (db == nullptr) {
        return -1;
    }
    db_client()->close(db);
    return 0;
}

int db_utf8_mode() {
    return db_names_utf8;
}

MYSQL* kvrDbConnect(char* error, size_t size) {
    return db_connect(error, size);
}

MYSQL* kvrDbConnectOrReport() {
    char error[db_error_size] = "";
    MYSQL* const db = db_connect(error, sizeof(error));
    if (db == nullptr) {
        report_error(0, 0, "%s", error);
    }
    return db;
}

int kvrDbUtf8Mode() {
    if (db_names_utf8 == -1) {
        utf8_mode_connection = kvrDbConnectOrReport();
    }
    return db_names_utf8;
}
