// SPDX-License-Identifier: MIT

#include "conf/autoprepend.h"

#include "conf/assertion.h"
#include "conf/messages.h"
#include "conf/process_state.h"
#include "conf/read_configuration.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

const char* const kvrConfFile = "/etc/kvr/kvr.conf";

namespace {

/* The known variables and, at the same index, their defaults. The first and the last entry are
 * sentinels. */
const char* const theKvrConfArray[] = {
    "_MIN_POSSIBLE_KVR_CONF_VAR_NAME",
    "KELDO_MAILNAMES_D",
    "COURIER_IMAP_ROOT_D",
    "RBLSMTPD",
    "CGI_PHP_BIN",
    "CLIENT_PHP_BIN",
    "LIB_CRYPTO_PATH",
    "LIB_SSL_PATH",
    "AWSTATS_DOC_D",
    "AWSTATS_TOOLS_D",
    "AWSTATS_BIN_D",
    "AWSTATS_ETC_D",
    "CATALINA_HOME",
    "MAILMAN_VAR_D",
    "MAILMAN_ROOT_D",
    "PGSQL_DATA_D",
    "PGSQL_BIN_D",
    "MYSQL_BIN_D",
    "MYSQL_VAR_D",
    "LOGROTATE",
    "WEB_STAT",
    "DUMP_D",
    "NAMED_RUN_ROOT_D",
    "FTPD_CONF_INC",
    "HTTPD_SERVICE",
    "HTTPD_LOG_D",
    "HTTPD_INCLUDE_D",
    "HTTPD_CONF_D",
    "HTTPD_VHOSTS_D",
    "PRODUCT_ROOT_D",
    "_MAX_POSSIBLE_KVR_CONF_VAR_NAME",
};

const char* const theKvrConfDefauls[] = {
    "_MIN_POSSIBLE_KVR_CONF_VAR_VALUE",
    "/var/qmail/mailnames",
    "/",
    "/usr/sbin/rblsmtpd",
    "dynamic",
    "/usr/local/kvr/bin/php-cli",
    "/lib/libcrypto.so",
    "/lib/libssl.so",
    "/var/www/html/awstats",
    "/usr/share/awstats",
    "/var/www/cgi-bin/awstats",
    "/etc/awstats",
    "/usr/share/tomcat5",
    "/var/lib/mailman",
    "/usr/lib/mailman",
    "/var/lib/pgsql/data",
    "/usr/bin",
    "/usr/bin",
    "/var/lib/mysql",
    "/usr/local/kvr/logrotate/sbin/logrotate",
    "/usr/bin/webalizer",
    "/var/lib/kvr/dumps",
    "/var/named/run-root",
    "/etc/proftpd.include",
    "httpd",
    "/var/log/httpd",
    "/etc/httpd/conf.d",
    "/etc/httpd/conf",
    "/var/www/vhosts",
    "/usr/local/kvr",
    "_MAX_POSSIBLE_KVR_CONF_VAR_VALUE",
};

const size_t last_index = kvrConfCacheSize - 2;

static_assert(kvrConfCacheSize == sizeof(theKvrConfArray) / sizeof(theKvrConfArray[0]));
static_assert(kvrConfCacheSize == sizeof(theKvrConfDefauls) / sizeof(theKvrConfDefauls[0]));

void clear_cache_once() {
    if (!kvrConfCacheCleared) {
        memset(kvrConfCache, 0, sizeof(kvrConfCache));
        kvrConfCacheCleared = true;
    }
}

bool is_index(int index) {
    return index > 0 && static_cast<size_t>(index) <= last_index;
}

/* Returns the file's value of the known variable at a valid index, or null. */
const char* value_from_file(int index) {
    clear_cache_once();
    if (kvrConfCache[index] == nullptr && kvrConfLoad() == 0) {
        kvrConfCache[index] = conf_get_r(theKvrConfArray[index], theKvrConf);
    }
    return kvrConfCache[index];
}

} // namespace

int kvrConfLoad() {
    if (theKvrConf != nullptr) {
        return 0;
    }
    clear_cache_once();
    auto* const conf = static_cast<conf_rec*>(calloc(1, sizeof(conf_rec)));
    if (conf == nullptr) {
        report_error(0, 0, "Not enough memory to allocate Keldo runtime configuration structure\n");
        return -1;
    }
    if (conf_read_file_r(kvrConfFile, conf) == -1) {
        conf_free_r(conf);
        return -1;
    }
    theKvrConf = conf;
    return 0;
}

const char* kvrConfGet(const char* name) {
    return kvrConfLoad() == 0 ? conf_get_r(name, theKvrConf) : nullptr;
}

const char* kvrConfGetByIndex(int index) {
    KVR_ASSERT(is_index(index),
               "i > 0 && i <= (sizeof(theKvrConfArray) / sizeof(theKvrConfArray[0]) - 2)");
    return value_from_file(index);
}

const char* kvrConfGetDefaultByIndex(int index) {
    KVR_ASSERT(is_index(index),
               "i > 0 && i <= (sizeof(theKvrConfDefauls) / sizeof(theKvrConfDefauls[0]) - 2)");
    const char* const value = value_from_file(index);
    return value != nullptr ? value : theKvrConfDefauls[index];
}

const char* kvrConfGetDefault(const char* name) {
    KVR_ASSERT(name != nullptr, "((void *)0) != name");
    /* The loop includes the lower sentinel, whose index then fails an assertion, but not the upper
     * sentinel, whose name is unknown like any other. */
    for (size_t i = 0; i <= last_index; ++i) {
        if (strcmp(name, theKvrConfArray[i]) == 0) {
            return kvrConfGetDefaultByIndex(static_cast<int>(i));
        }
    }
    report_error(0, 0, "variable '%s' isn't found neither in %s nor in compile-time defaults\n",
                 name, kvrConfFile);
    return nullptr;
}
