// SPDX-License-Identifier: MIT

// Preloaded by a test: a part of a client library, without mysql_options. It never connects.

#include <mysql.h>

MYSQL* mysql_init(MYSQL*) {
    return reinterpret_cast<MYSQL*>(1); // nobody can write to this address
}

MYSQL* mysql_real_connect(MYSQL*, const char*, const char*, const char*, const char*, unsigned int,
                          const char*, unsigned long) {
    return nullptr;
}

const char* mysql_error(MYSQL*) {
    return "not this time";
}

void mysql_close(MYSQL*) {}
