// SPDX-License-Identifier: MIT

#pragma once

#include "db/client_library.h"

#include <cstddef>
#include <mysql.h>

/* Connections to the panel's own database: "kvr" on the local server, as its user "admin". The
 * password is the first line of kvrShadowFile, without its newline; at most 99 characters of it
 * are read. If the server is silent, connecting (handshake included) fails after 10 seconds and a
 * statement after 60. The client never sends a local file, even if the server asks for it. It does
 * not send the password in clear if the library can prevent that. The library cannot if the server
 * asks for the full authentication of caching_sha2_password: it then sends the password in clear
 * over a unix socket, which it counts as private.
 *
 * A function that connects returns a handle, which the caller closes with db_client()->close(), or
 * null. A function that takes a buffer `error` of `size` bytes writes the reason of a failure into
 * it, cut to its size, and prints nothing; without a reason the buffer stays as it was. For one
 * thread only. */

extern "C" {

/* The file with the administrator's password. */
extern const char* const kvrShadowFile;

/* The size of the error buffers of the upper layers. */
const size_t db_error_size = 4097;

/* The client library's functions. The first call loads the library. Returns null if that fails;
 * the next call tries again. Never null while a connection is open. */
const struct client_library* db_client();

/* Replaces the client library by the functions of `functions`, which must outlive their use; null
 * returns to the library. Call it while no connection is open. */
void db_use_client(const struct client_library* functions);

/* Connects and does nothing else. Sets errno to ENOMEM if the client object cannot be made. */
MYSQL* db_connect_admin(char* error, size_t size);

/* Does what db_connect_admin() does, but returns null if the handle then reports an error. */
MYSQL* db_connect_checked(char* error, size_t size);

/* Connects, switches the foreign key checks off and chooses the character set. Returns null if the
 * handle then reports an error. */
MYSQL* db_connect(char* error, size_t size);

/* Does what db_connect() does, but keeps the connection if choosing the character set fails. */
MYSQL* db_connect_setup(char* error, size_t size);

/* Does what db_connect() does and closes the connection. Returns 0, or -1 with a message in the
 * buffer and the client library's error number in `number`. The number is 0 if the password could
 * not be read or the library could not be loaded. */
int db_probe(char* error, size_t size, unsigned int* number);

/* Chooses the connection's character set. UTF-8 if the panel database asks for it: its misc row
 * "mysql41_compatible" is neither empty nor "false". Otherwise binary; none on a server older than
 * 4.1. Records the choice for db_utf8_mode(). Returns 0, or -1 with a message in the buffer. */
int db_set_names(MYSQL* db, char* error, size_t size);

/* How text from the database is encoded: 1 UTF-8, 0 binary, -1 while no connection has chosen a
 * character set. */
int db_utf8_mode();

/* db_connect() under the name that the upper layers use. */
MYSQL* kvrDbConnect(char* error, size_t size);

/* db_connect() that prints the message of a failure with report_error(). */
MYSQL* kvrDbConnectOrReport();

/* Returns db_utf8_mode(). If that is -1, first connects with kvrDbConnectOrReport(); this
 * connection stays open. */
int kvrDbUtf8Mode();
}
