// SPDX-License-Identifier: MIT

// Loaded before all other libraries: a part of a client library of the database's, with connections
// of its own kind that are never made.

#include <mysql.h>

MYSQL* mysql_init(MYSQL*) {
    return reinterpret_cast<MYSQL*>(1); // an address that nothing can be written to
}

MYSQL* mysql_real_connect(MYSQL*, const char*, const char*, const char*, const char*, unsigned int,
                          const char*, unsigned long) {
    return nullptr;
}

const char* mysql_error(MYSQL*) {
    return "not this time";
}

void mysql_close(MYSQL*) {}
