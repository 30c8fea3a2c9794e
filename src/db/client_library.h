// SPDX-License-Identifier: MIT

#pragma once

#include <mysql.h>

/* The functions of the MySQL client library that this folder calls, with the library's types. Pass
 * them only handles and results that come from the same record. `options` is null if the library
 * takes no options; no other member is null. */
struct client_library {
    decltype(::mysql_close)* close;
    decltype(::mysql_errno)* error_number;
    decltype(::mysql_error)* error_text;
    decltype(::mysql_fetch_fields)* fetch_fields;
    decltype(::mysql_fetch_lengths)* fetch_lengths;
    decltype(::mysql_fetch_row)* fetch_row;
    decltype(::mysql_free_result)* free_result;
    decltype(::mysql_init)* init;
    decltype(::mysql_num_fields)* num_fields;
    decltype(::mysql_options)* options;
    decltype(::mysql_query)* query;
    decltype(::mysql_real_connect)* real_connect;
    decltype(::mysql_real_escape_string)* real_escape_string;
    decltype(::mysql_real_query)* real_query;
    decltype(::mysql_store_result)* store_result;
};

/* Loads the library and fills the record. The library is not linked: loading it and its TLS
 * libraries would take more than half of the time of every start, even for --help. It stays loaded
 * until the process ends. Functions of a preloaded library come first. Returns 0, or -1 with the
 * record unchanged if the library or one of its functions is missing. */
int load_client_library(client_library* functions);
