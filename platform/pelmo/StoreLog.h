// Logging of the store library: tag "pelmo-store", log id main, and the same line prefix as
// the rest of the library, "<file>: <function>(<line>) > [<file base name>][<function>:<line>] ".
#pragma once

#include <dlog.h>

#define PELMO_STORE_LOG_TAG "pelmo-store"

#define PELMO_STORE_BASENAME_ (__builtin_strrchr(__FILE__, '/') ? __builtin_strrchr(__FILE__, '/') + 1 : __FILE__)

#define PELMO_STORE_LOGE(fmt, ...)                                                                         \
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, PELMO_STORE_LOG_TAG, "%s: %s(%d) > [%s][%s:%d] " fmt, __FILE__, \
                 __func__, __LINE__, PELMO_STORE_BASENAME_, __func__, __LINE__, ##__VA_ARGS__)
