// SPDX-License-Identifier: MIT

#pragma once

#include "conf/read_configuration.h"

#include <cstddef>

/* The process-wide state of conf/autoprepend.h, for that file alone. conf/messages.h declares the
 * settings of the messages. */

extern "C" {

/* The configuration, or null until a load succeeds. It is never released. */
extern conf_rec* theKvrConf;

/* For each known variable, its value in theKvrConf, or null. A look-up fills the slot if the file
 * has the variable, so neither defaults nor absent variables are cached. */
const size_t kvrConfCacheSize = 31;
extern const char* kvrConfCache[kvrConfCacheSize];

/* Whether the first look-up has cleared the cache. */
extern bool kvrConfCacheCleared;

} /* extern "C" */
