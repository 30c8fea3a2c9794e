// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <mysql.h>

/* Connections to the panel's own database: "kvr" on the local server, as its user "admin". The
 * password is the first line of kvrShadowFile, without its newline; at most 99 characters of it
 * are read. A server that does not answer is given up 30 seconds after connecting began, and 60
 * seconds after a statement.
 *
 * A function that connects returns a handle that the caller closes with mysql_close(), or null. One
 * that takes a buffer `error` of `size` bytes puts the reason of a failure there (cut to the
 * buffer; untouched where there is nothing to say) and prints nothing. One thread only. */

/* The file with the administrator's password. */
extern const char* const kvrShadowFile;

/* The size of the error buffers of the upper layers. */
const size_t db_error_size = 4097;

/* Connects and does nothing else. Sets errno to ENOMEM where the client object cannot be made. */
MYSQL* db_connect_admin(char* error, size_t size);

/* As db_connect_admin(), and null where the handle reports an error right after connecting. */
MYSQL* db_connect_checked(char* error, size_t size);

/* Connects, switches the foreign key checks off and chooses the character set. Null also where the
 * handle then reports an error. */
MYSQL* db_connect(char* error, size_t size);

/* As db_connect(), but with the connection kept whatever became of the character set. */
MYSQL* db_connect_setup(char* error, size_t size);

/* Chooses the connection's character set: UTF-8 where the panel database says so (misc row
 * "mysql41_compatible", neither empty nor "false"), else binary; none on a server older than 4.1.
 * Records the choice for db_utf8_mode(). Returns 0, or -1 with a message in the buffer. */
int db_set_names(MYSQL* db, char* error, size_t size);

/* How text from the database is encoded: 1 UTF-8, 0 binary, -1 as long as no
 * connection has chosen a character set. */
int db_utf8_mode();

/* db_connect() under the name that the upper layers use. */
MYSQL* kvrDbConnect(char* error, size_t size);

/* db_connect() that prints the message of a failure by report_error(). */
MYSQL* kvrDbConnectOrReport();

/* As db_utf8_mode(), but connects first, as kvrDbConnectOrReport() does, where it is not known;
 * that connection stays open. */
int kvrDbUtf8Mode();
