// The platform log. On the host it writes to standard error; on a device the platform's own
// log library provides the same interface.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    LOG_ID_INVALID = -1,
    LOG_ID_MAIN = 0,
    LOG_ID_RADIO,
    LOG_ID_SYSTEM,
    LOG_ID_APPS,
    LOG_ID_MAX
} log_id_t;

typedef enum {
    DLOG_UNKNOWN = 0,
    DLOG_DEFAULT,
    DLOG_VERBOSE,
    DLOG_DEBUG,  // 3
    DLOG_INFO,   // 4
    DLOG_WARN,   // 5
    DLOG_ERROR,  // 6
    DLOG_FATAL,
    DLOG_SILENT,
    DLOG_PRIO_MAX
} log_priority;

__attribute__((visibility("default"), format(printf, 4, 5)))
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...);

#ifdef __cplusplus
}
#endif
