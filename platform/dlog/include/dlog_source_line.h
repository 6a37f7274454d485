// The source position that the platform's components put before every log message:
// "<file>: <function>(<line>) > [<file base name>][<function>:<line>] <message>".
// Tools and tests that read such lines back take them apart with the parser beside the host log
// (platform/dlog/prefix), which follows this format.
#pragma once

#include <dlog.h>

#define DLOG_SOURCE_PREFIX_FORMAT "%s: %s(%d) > [%s][%s:%d] "

// The part of a path after its last '/'.
#define DLOG_SOURCE_BASENAME(path) (__builtin_strrchr(path, '/') ? __builtin_strrchr(path, '/') + 1 : (path))

// Logs one message on the main log with the source position of the call; `unit` names the file.
#define DLOG_PRINT_SOURCE(prio, tag, unit, fmt, ...)                                                         \
    __dlog_print(LOG_ID_MAIN, prio, tag, DLOG_SOURCE_PREFIX_FORMAT fmt, unit, __func__, __LINE__,           \
                 DLOG_SOURCE_BASENAME(unit), __func__, __LINE__, ##__VA_ARGS__)
