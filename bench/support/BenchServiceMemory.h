// The store service's own account of its memory, from its "stats" answer: heap in use,
// SQLite's share and the page cache within it. A cache filling up to its limit is growth that
// stops; heap outside SQLite that keeps growing would be a leak. The asking process opens the
// library's bus connection, so a benchmark that forks asks only after its last fork.
#pragma once

#include <json/json.h>

#include <cstdio>
#include <string>

#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace BenchServiceMemory {

struct CServiceMemory {
    long long llHeap = -1, llSqlite = -1, llPageCache = -1, llPageCacheLimit = -1;
};

inline CServiceMemory Ask()
{
    CServiceMemory memory;
    CPelmoGDBusUtil* pTransport = CPelmoGDBusUtil::GetInstance();
    std::string sOutput;
    Json::Value stats;
    if (!pTransport->GetDBusData(
            pTransport->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, "stats", "org.example.bench-monitor", " "), sOutput) ||
        !Json::Reader().parse(sOutput, stats) || !stats["service_memory"].isObject()) {
        return memory;
    }
    const Json::Value& value = stats["service_memory"];
    memory.llHeap = value["heap_bytes"].asInt64();
    memory.llSqlite = value["sqlite_bytes"].asInt64();
    memory.llPageCache = value["page_cache_bytes"].asInt64();
    memory.llPageCacheLimit = value["page_cache_limit_bytes"].asInt64();
    return memory;
}

// Heap in use outside SQLite, in kB; -1 when it is not known.
inline long long RestKb(const CServiceMemory& memory)
{
    return memory.llHeap > 0 ? (memory.llHeap - memory.llSqlite) / 1024 : -1;
}

inline void Print(const char* sWhen, const CServiceMemory& memory)
{
    if (memory.llHeap < 0) {
        std::printf("service heap %-16s (the service did not answer \"stats\")\n", sWhen);
        return;
    }
    if (memory.llHeap == 0) {
        // malloc counts nothing when another allocator serves the service (valgrind's, say).
        std::printf("service heap %-16s not counted by malloc; SQLite %lld kB (page cache %lld of %lld kB)\n", sWhen,
                    memory.llSqlite / 1024, memory.llPageCache / 1024, memory.llPageCacheLimit / 1024);
        return;
    }
    std::printf("service heap %-16s %lld kB in use: SQLite %lld kB (page cache %lld of %lld kB), the rest %lld kB\n",
                sWhen, memory.llHeap / 1024, memory.llSqlite / 1024, memory.llPageCache / 1024,
                memory.llPageCacheLimit / 1024, (memory.llHeap - memory.llSqlite) / 1024);
}

}  // namespace BenchServiceMemory
