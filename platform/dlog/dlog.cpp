// Host implementation of the platform log: one line per message on standard error,
// "<P>/<tag>: <message>", filtered by PELMO_LOG_LEVEL.

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "dlog.h"
#include "dlog_host.h"

namespace {

constexpr int kLevelNone = DLOG_SILENT + 1;

int LevelFromEnvironment()
{
    const char* sLevel = std::getenv("PELMO_LOG_LEVEL");
    if (sLevel == nullptr || *sLevel == '\0') return DLOG_ERROR;
    if (std::strcmp(sLevel, "debug") == 0) return DLOG_DEBUG;
    if (std::strcmp(sLevel, "info") == 0) return DLOG_INFO;
    if (std::strcmp(sLevel, "error") == 0) return DLOG_ERROR;
    if (std::strcmp(sLevel, "none") == 0) return kLevelNone;
    return DLOG_ERROR;
}

std::atomic<int> g_iLevel{LevelFromEnvironment()};
std::mutex g_sinkMutex;
// Set with the sink, under the mutex; read without it, so that a line below the level with no
// sink installed (most debug lines of a busy process) costs no lock.
std::atomic<bool> g_bSinkInstalled{false};
dlog_host_sink_cb g_pSink = nullptr;
void* g_pSinkData = nullptr;

char PriorityLetter(int prio)
{
    switch (prio) {
    case DLOG_VERBOSE: return 'V';
    case DLOG_DEBUG: return 'D';
    case DLOG_INFO: return 'I';
    case DLOG_WARN: return 'W';
    case DLOG_ERROR: return 'E';
    case DLOG_FATAL: return 'F';
    default: return '?';
    }
}

}  // namespace

extern "C" int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
{
    if (log_id < LOG_ID_MAIN || log_id >= LOG_ID_MAX || fmt == nullptr) return -1;
    if (prio < g_iLevel.load(std::memory_order_relaxed) && !g_bSinkInstalled.load(std::memory_order_acquire)) return 0;

    dlog_host_sink_cb pSink;
    void* pSinkData;
    {
        std::lock_guard<std::mutex> lock(g_sinkMutex);
        pSink = g_pSink;
        pSinkData = g_pSinkData;
    }
    const bool bToStderr = prio >= g_iLevel.load(std::memory_order_relaxed);
    if (!bToStderr && pSink == nullptr) return 0;

    va_list args;
    va_start(args, fmt);
    va_list argsCopy;
    va_copy(argsCopy, args);
    const int iLen = std::vsnprintf(nullptr, 0, fmt, argsCopy);
    va_end(argsCopy);
    std::string sMessage;
    if (iLen > 0) {
        sMessage.resize(static_cast<size_t>(iLen));
        std::vsnprintf(&sMessage[0], sMessage.size() + 1, fmt, args);
    }
    va_end(args);

    // A message is one line: embedded newlines would let one entry pose as several.
    for (char& c : sMessage) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    const char* sTag = tag != nullptr ? tag : "";

    if (pSink != nullptr) pSink(prio, sTag, sMessage.c_str(), pSinkData);
    if (bToStderr) {
        std::string sLine;
        sLine.reserve(sMessage.size() + std::strlen(sTag) + 5);
        sLine += PriorityLetter(prio);
        sLine += '/';
        sLine += sTag;
        sLine += ": ";
        sLine += sMessage;
        sLine += '\n';
        // One write per line so that lines of concurrent threads do not interleave.
        std::fwrite(sLine.data(), 1, sLine.size(), stderr);
    }
    return iLen < 0 ? -1 : iLen;
}

extern "C" void dlog_host_set_sink(dlog_host_sink_cb sink, void* user_data)
{
    std::lock_guard<std::mutex> lock(g_sinkMutex);
    g_pSink = sink;
    g_pSinkData = user_data;
    g_bSinkInstalled.store(sink != nullptr, std::memory_order_release);
}

extern "C" void dlog_host_reload_level(void)
{
    g_iLevel.store(LevelFromEnvironment(), std::memory_order_relaxed);
}
