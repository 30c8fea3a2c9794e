// SPDX-License-Identifier: MIT

#pragma once

/* The MySQL client library. Its functions, as <mysql.h> declares them, can be called as usual; but
 * the library is not loaded with the program, since with the TLS libraries that it brings along it
 * would take more than half of every start. The first mysql_init() loads it. Where that fails,
 * mysql_init() returns null, as without memory, and the next one tries again. */

/* Loads the library ahead of time, in a moment that is to spare: that takes longer than to
 * connect. Does nothing the second time, and says nothing of a failure. */
void load_client_library();
