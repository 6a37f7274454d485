// Logging in the platform log's format: tag "pelmo-api", log id main, and every line prefixed
// with "<file>: <function>(<line>) > [<file base name>][<function>:<line>] ".
#pragma once

#include <dlog.h>

#define PELMO_LOG_TAG "pelmo-api"

#define PELMO_BASENAME_ (__builtin_strrchr(__FILE__, '/') ? __builtin_strrchr(__FILE__, '/') + 1 : __FILE__)

#define PELMO_LOG_(prio, fmt, ...)                                                                          \
    __dlog_print(LOG_ID_MAIN, prio, PELMO_LOG_TAG, "%s: %s(%d) > [%s][%s:%d] " fmt, __FILE__, __func__, \
                 __LINE__, PELMO_BASENAME_, __func__, __LINE__, ##__VA_ARGS__)

#define PELMO_LOGD(fmt, ...) PELMO_LOG_(DLOG_DEBUG, fmt, ##__VA_ARGS__)
#define PELMO_LOGI(fmt, ...) PELMO_LOG_(DLOG_INFO, fmt, ##__VA_ARGS__)
#define PELMO_LOGE(fmt, ...) PELMO_LOG_(DLOG_ERROR, fmt, ##__VA_ARGS__)
