// Logging of the store library: tag "pelmo-store", log id main, and the same line prefix as
// the rest of the library, "<file>: <function>(<line>) > [<file base name>][<function>:<line>] ".
#pragma once

#include <dlog_source_line.h>

#define PELMO_STORE_LOG_TAG "pelmo-store"

#define PELMO_STORE_LOGE(fmt, ...) DLOG_PRINT_SOURCE(DLOG_ERROR, PELMO_STORE_LOG_TAG, __FILE__, fmt, ##__VA_ARGS__)
