// Host-only additions to the platform log: a sink through which a process (a test, a tool)
// sees every line the process logs, whatever PELMO_LOG_LEVEL lets through to standard error.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Called once per logged line with the priority, the tag and the formatted message.
typedef void (*dlog_host_sink_cb)(int prio, const char* tag, const char* message, void* user_data);

// Installs the sink (null removes it). Lines logged while a sink is installed reach it from
// the logging thread; the sink must be thread-safe when the process logs from several threads.
__attribute__((visibility("default"))) void dlog_host_set_sink(dlog_host_sink_cb sink, void* user_data);

// Re-reads PELMO_LOG_LEVEL (debug, info, error or none; default error).
__attribute__((visibility("default"))) void dlog_host_reload_level(void);

#ifdef __cplusplus
}
#endif
