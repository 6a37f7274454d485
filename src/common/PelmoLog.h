// Logging in the platform log's format: tag "pelmo-api", log id main, and every line prefixed
// with "<file>: <function>(<line>) > [<file base name>][<function>:<line>] ".
//
// <file> names the source unit the function belongs to. The request interface (PelmoAPI) and the
// preview logic (PreviewDataUtil) are each one unit whose code is split by concern over several
// files; such a unit names itself once, in its unit header (PelmoAPIUnit.h,
// PreviewDataUtilUnit.h), which its files include. Any other file is a unit of its own and
// names itself the same way before it includes this header (without that, __FILE__ names it,
// which is the path the build hands the compiler). <line> is the line of the log call in the
// file that holds it, so the function name leads to the file and the line to the call.
#pragma once

#include <dlog_source_line.h>

#define PELMO_LOG_TAG "pelmo-api"

#ifndef PELMO_LOG_UNIT
#define PELMO_LOG_UNIT __FILE__
#endif

// Expanded where a line is logged, so a unit header included after this one still counts.
#define PELMO_LOG_(prio, fmt, ...) DLOG_PRINT_SOURCE(prio, PELMO_LOG_TAG, PELMO_LOG_UNIT, fmt, ##__VA_ARGS__)

#define PELMO_LOGD(fmt, ...) PELMO_LOG_(DLOG_DEBUG, fmt, ##__VA_ARGS__)
#define PELMO_LOGI(fmt, ...) PELMO_LOG_(DLOG_INFO, fmt, ##__VA_ARGS__)
#define PELMO_LOGE(fmt, ...) PELMO_LOG_(DLOG_ERROR, fmt, ##__VA_ARGS__)
