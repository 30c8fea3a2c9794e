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

const char* const db_host = "localhost";
const char* const db_user = "admin";
const char* const db_name = "kvr";

/* With room for the terminator. */
const size_t password_size = 100;

/* Set by each successful choice of a character set, never reset; see db_utf8_mode(). */
int db_names_utf8 = -1;

/* The connection that kvrDbUtf8Mode() has made. It stays open until the process ends; it is kept
 * here so that it does not look lost. */
MYSQL* utf8_mode_connection = nullptr;

/* How long a server that does not answer is waited for, in seconds: for the connection, and for
 * each answer after that. Half up, it may take connections and stay silent for ever. */
const unsigned int connect_time_limit = 30;
const unsigned int answer_time_limit = 60;

struct free_result {
    void operator()(MYSQL_RES* result) const noexcept { mysql_free_result(result); }
};
using result_handle = std::unique_ptr<MYSQL_RES, free_result>;

/* Returns 0, or -1 with a message. Of the line only a newline is dropped: a carriage return or
 * blanks at its end belong to the password. */
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

/* A limit that the library does not take is let go: connecting works without. */
void set_time_limits(MYSQL* db) {
    mysql_options(db, MYSQL_OPT_CONNECT_TIMEOUT, &connect_time_limit);
    mysql_options(db, MYSQL_OPT_READ_TIMEOUT, &answer_time_limit);
    mysql_options(db, MYSQL_OPT_WRITE_TIMEOUT, &answer_time_limit);
}

/* Returns the connection, or null and closes it where its last call failed. */
MYSQL* close_if_failed(MYSQL* db) {
    if (mysql_errno(db) == 0) {
        return db;
    }
    mysql_close(db);
    return nullptr;
}

/* Describes the failure of the step `label`. Returns -1. */
int step_failed(MYSQL* db, const char* label, char* error, size_t size) {
    if (mysql_errno(db) != 0) {
        snprintf(error, size, "DB error (%s) %u: %s", label, mysql_errno(db), mysql_error(db));
    } else {
        snprintf(error, size, "DB error (%s): unknown error", label);
    }
    return -1;
}

bool starts_with(const char* text, const char* start) {
    return strncmp(text, start, strlen(start)) == 0;
}

/* Servers before 4.1 know no connection character sets. Returns 1 for one of those, 0 for a newer
 * one, -1 with a message on failure. */
int is_server_without_charsets(MYSQL* db, char* error, size_t size) {
    if (mysql_query(db, "SHOW VARIABLES LIKE 'version'") != 0) {
        return step_failed(db, "query version", error, size);
    }
    const result_handle result(mysql_store_result(db));
    if (!result) {
        return step_failed(db, "store query result", error, size);
    }
    MYSQL_ROW row = mysql_fetch_row(result.get());
    if (row == nullptr) {
        return step_failed(db, "fetch version row", error, size);
    }
    const char* const version = row[1];
    if (version == nullptr) {
        return step_failed(db, "empty version result", error, size);
    }
    return starts_with(version, "3.") || starts_with(version, "4.0.") ? 1 : 0;
}

/* What the panel says of its texts, from the result of the last query: 1 for UTF-8. */
int stored_utf8_mode(MYSQL* db) {
    const result_handle result(mysql_store_result(db));
    MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    const char* const value = row != nullptr ? row[0] : nullptr;
    return value != nullptr && value[0] != '\0' && strcmp(value, "false") != 0 ? 1 : 0;
}

/* What db_connect() and db_connect_setup() do alike. */
MYSQL* connect_and_prepare(char* error, size_t size) {
    MYSQL* const db = db_connect_checked(error, size);
    if (db != nullptr) {
        mysql_query(db, "set foreign_key_checks=0");
        db_set_names(db, error, size);
    }
    return db;
}

} // namespace

MYSQL* db_connect_admin(char* error, size_t size) {
    char password[password_size];
    if (read_password(password, error, size) == -1) {
        return nullptr;
    }
    MYSQL* const db = mysql_init(nullptr);
    if (db == nullptr) {
        snprintf(error, size, "Unable to initialize MySQL connection structure: %s",
                 strerror(ENOMEM));
        errno = ENOMEM;
        return nullptr;
    }
    set_time_limits(db);
    if (mysql_real_connect(db, db_host, db_user, password, db_name, 0, nullptr, 0) == nullptr) {
        snprintf(error, size, "Unable to connect to Keldo Database: %s", mysql_error(db));
        mysql_close(db);
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
    if (mysql_query(db, "SELECT val FROM misc WHERE param='mysql41_compatible'") != 0) {
        return step_failed(db, "mysql41 compatible query", error, size);
    }
    db_names_utf8 = stored_utf8_mode(db);
    if (mysql_query(db, db_names_utf8 == 1 ? "SET NAMES utf8" : "SET NAMES binary") != 0) {
        return step_failed(db, "set names query", error, size);
    }
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
