// journal and stats: what pelmoctl and a person at a shell use to see why a module's preview
// looks the way it does. The library never sends them. Each answers for the calling module
// only, like every other request.
#include <malloc.h>

#include <cstddef>
#include <memory>
#include <string>

#include "ModuleUsage.h"
#include "SanitizerBuild.h"
#include "StoreRequestHandler.h"

// Under the address and thread sanitizers the sanitizer's allocator serves every malloc and
// glibc's count stays at zero; the sanitizer then says what is in use.
#ifdef PELMO_SANITIZER_BUILD
// The sanitizer runtime exports it; GCC's packages do not always ship the header declaring it.
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
#endif

using StoreReplies::Accept;
using StoreReplies::Compact;
using StoreReplies::Refuse;

namespace {
bool IsBlank(const std::string& sText)
{
    return sText.find_first_not_of(" \t\r\n") == std::string::npos;
}

// One count of the module's rows; sExtra is a fixed condition of this file, never client text.
bool CountModuleRows(CStoreDatabase& database, const std::string& sTable, const std::string& sModule,
                     const std::string& sExtra, long long llNow, long long& llCount, std::string& sError)
{
    CStatement statement =
        database.Prepare("SELECT count(*) FROM \"" + sTable + "\" WHERE \"module_name\" = ?1" + sExtra, sError);
    if (!statement) return false;
    sqlite3_bind_text(statement.Get(), 1, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT);
    if (!sExtra.empty()) sqlite3_bind_int64(statement.Get(), 2, llNow);
    if (sqlite3_step(statement.Get()) != SQLITE_ROW) {
        sError = "store error: " + database.LastError();
        return false;
    }
    llCount = sqlite3_column_int64(statement.Get(), 0);
    return true;
}

Json::Value OptionalTime(std::time_t tTime)
{
    return tTime > 0 ? Json::Value(static_cast<Json::Int64>(tTime)) : Json::Value();
}

Json::Value StorageToJson(const CStorageCondition& storage)
{
    Json::Value value(Json::objectValue);
    value["full"] = storage.bFull;
    value["reason"] = storage.bFull ? Json::Value(storage.sReason) : Json::Value();
    value["since"] = OptionalTime(storage.tSince);
    value["last_failure"] = OptionalTime(storage.tLastFailure);
    value["failures"] = static_cast<Json::Int64>(storage.llFailures);
    return value;
}

Json::Value ResultSpaceToJson(const CResultSpace& space)
{
    Json::Value value(Json::objectValue);
    value["module_pending"] = static_cast<Json::Int64>(space.llModuleCount);
    value["module_pending_bytes"] = static_cast<Json::Int64>(space.llModuleBytes);
    value["pending"] = static_cast<Json::Int64>(space.llTotalCount);
    value["pending_bytes"] = static_cast<Json::Int64>(space.llTotalBytes);
    value["module_limit"] = static_cast<Json::Int64>(space.llModuleCountLimit);
    value["module_limit_bytes"] = static_cast<Json::Int64>(space.llModuleBytesLimit);
    value["limit"] = static_cast<Json::Int64>(space.llTotalCountLimit);
    value["limit_bytes"] = static_cast<Json::Int64>(space.llTotalBytesLimit);
    value["shm_bytes"] = static_cast<Json::Int64>(space.llShmBytes);
    value["refused"] = static_cast<Json::Int64>(space.llRefused);
    value["removed_for_room"] = static_cast<Json::Int64>(space.llEvicted);
    return value;
}

// The service's own memory, so that a growing resident size can be told apart: heap the
// service holds, SQLite's share of it, and the page cache within that with the most it may
// take (a cache filling up to its limit is growth that stops; heap outside SQLite that keeps
// growing would be a leak).
Json::Value ServiceMemory(CStoreDatabase& database)
{
    Json::Value memory(Json::objectValue);
#ifdef PELMO_SANITIZER_BUILD
    memory["heap_bytes"] = static_cast<Json::UInt64>(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 heap = mallinfo2();
    memory["heap_bytes"] = static_cast<Json::UInt64>(heap.uordblks + heap.hblkhd);
#endif
    memory["sqlite_bytes"] = static_cast<Json::Int64>(sqlite3_memory_used());
    int iCache = 0, iHighwater = 0;
    sqlite3_db_status(database.Handle(), SQLITE_DBSTATUS_CACHE_USED, &iCache, &iHighwater, 0);
    memory["page_cache_bytes"] = static_cast<Json::Int64>(iCache);
    std::string sError;
    long long llCacheSize = 0, llPageSize = 0;
    CStatement cacheSize = database.Prepare("PRAGMA cache_size", sError);
    if (cacheSize && sqlite3_step(cacheSize.Get()) == SQLITE_ROW)
        llCacheSize = sqlite3_column_int64(cacheSize.Get(), 0);
    CStatement pageSize = database.Prepare("PRAGMA page_size", sError);
    if (pageSize && sqlite3_step(pageSize.Get()) == SQLITE_ROW) llPageSize = sqlite3_column_int64(pageSize.Get(), 0);
    // A negative cache size is a limit in KiB, a positive one a number of pages.
    memory["page_cache_limit_bytes"] =
        static_cast<Json::Int64>(llCacheSize < 0 ? -llCacheSize * 1024 : llCacheSize * llPageSize);
    return memory;
}
}  // namespace

CStoreReply CStoreRequestHandler::JournalRequest(const std::string& sModule, const std::string& sInput)
{
    static const char* kUsage = "journal: input must be empty or {\"since\": N} with N a whole number >= 0";
    long long llSince = 0;
    if (!IsBlank(sInput)) {
        Json::Value root;
        Json::CharReaderBuilder builder;
        builder["failIfExtra"] = true;
        builder["rejectDupKeys"] = true;
        std::string sErrors;
        std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
        if (!pReader->parse(sInput.data(), sInput.data() + sInput.size(), &root, &sErrors) || !root.isObject()) {
            return Refuse(kUsage);
        }
        for (const std::string& sName : root.getMemberNames()) {
            if (sName != "since") return Refuse(kUsage);
        }
        const Json::Value& since = root["since"];
        if (!since.isNull()) {
            if (!since.isIntegral() || !since.isInt64() || since.asInt64() < 0) return Refuse(kUsage);
            llSince = since.asInt64();
        }
    }
    std::lock_guard<std::mutex> lock(m_pShared->mutex);
    return Accept(Compact(m_pShared->journal.ToJson(sModule, llSince)), 0);
}

CStoreReply CStoreRequestHandler::StatsRequest(const std::string& sModule)
{
    if (!m_database.IsOpen()) return Refuse("store database is not open");
    const long long llNow = static_cast<long long>(m_clock());
    std::string sError;
    long long llAccelerators = 0, llExpired = 0, llNotYet = 0;
    // The module's sections and tiles, counted once for both the counts and the quota.
    PT_MODULE_USAGE usage;
    if (!ModuleUsage::Read(m_database, sModule, usage, sError)) return Refuse(sError);
    // A display window bound of 0 (or none) means "no bound": the library writes 0 for a tile
    // whose document gave no period.
    if (!CountModuleRows(m_database, "accelerators", sModule, "", 0, llAccelerators, sError) ||
        !CountModuleRows(m_database, "tiles", sModule,
                         " AND typeof(\"tile_display_until\") = 'integer' AND \"tile_display_until\" > 0"
                         " AND \"tile_display_until\" < ?2",
                         llNow, llExpired, sError) ||
        !CountModuleRows(m_database, "tiles", sModule,
                         " AND typeof(\"tile_display_from\") = 'integer' AND \"tile_display_from\" > ?2", llNow,
                         llNotYet, sError)) {
        return Refuse(sError);
    }

    Json::Value root(Json::objectValue);
    root["module"] = sModule;
    root["registered"] = llAccelerators > 0;
    // The Unix user the module belongs to; null while nobody owns it.
    const long long llOwner = m_ownership.OwnerOf(sModule);
    root["owner_uid"] = llOwner >= 0 ? Json::Value(static_cast<Json::Int64>(llOwner)) : Json::Value();
    root["accelerator_rows"] = static_cast<Json::Int64>(llAccelerators);
    if (llAccelerators > 0) {
        CStatement statement = m_database.Prepare(
            "SELECT \"_id\", \"accelerator_title\" FROM \"accelerators\" WHERE \"module_name\" = ?1 ORDER BY \"_id\" "
            "LIMIT 1",
            sError);
        if (!statement) return Refuse(sError);
        sqlite3_bind_text(statement.Get(), 1, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT);
        if (sqlite3_step(statement.Get()) != SQLITE_ROW) return Refuse("store error: " + m_database.LastError());
        root["accelerator_id"] = static_cast<Json::Int64>(sqlite3_column_int64(statement.Get(), 0));
        const unsigned char* pTitle = sqlite3_column_text(statement.Get(), 1);
        root["title"] = pTitle != nullptr
                            ? std::string(reinterpret_cast<const char*>(pTitle),
                                          static_cast<std::size_t>(sqlite3_column_bytes(statement.Get(), 1)))
                            : std::string();
    }
    root["sections"] = static_cast<Json::Int64>(usage.llSections);
    root["tiles"] = static_cast<Json::Int64>(usage.llTiles);
    root["expired_tiles"] = static_cast<Json::Int64>(llExpired);
    root["future_tiles"] = static_cast<Json::Int64>(llNotYet);
    root["now"] = static_cast<Json::Int64>(llNow);
    {
        std::lock_guard<std::mutex> lock(m_pShared->mutex);
        const CModuleActivity& activity = m_pShared->activity;
        root["sync_count"] = static_cast<Json::Int64>(activity.SyncCount(sModule));
        const std::time_t tLastSync = activity.LastSyncTime(sModule);
        root["last_sync"] = tLastSync > 0 ? Json::Value(static_cast<Json::Int64>(tLastSync)) : Json::Value();
        const int iScheduler = activity.SchedulerState(sModule);
        root["scheduler"] = iScheduler < 0 ? "unknown" : iScheduler > 0 ? "running" : "stopped";
        root["scheduler_caller"] = activity.SchedulerCaller(sModule);
        root["journal_seq"] = static_cast<Json::Int64>(m_pShared->journal.LastSeq(sModule));
        root["storage"] = StorageToJson(m_pShared->storage);
        Json::Value quota(Json::objectValue);
        quota["limit"] = ModuleUsage::ToJson(m_quota);
        quota["refused"] = static_cast<Json::Int64>(activity.QuotaRefusals(sModule));
        std::time_t tRefused = 0;
        const std::string sRefusal = activity.LastQuotaRefusal(sModule, tRefused);
        quota["last_refusal"] = tRefused > 0 ? Json::Value(sRefusal) : Json::Value();
        quota["last_refusal_time"] = OptionalTime(tRefused);
        root["quota"] = quota;
        const CPublishOverlap::PT_LAST_OVERLAP overlap = m_pShared->overlap.Last(sModule);
        if (overlap.tTime > 0) {
            Json::Value writers(Json::objectValue);
            writers["time"] = static_cast<Json::Int64>(overlap.tTime);
            writers["writer"] = overlap.sWriter;
            writers["other"] = overlap.sOther;
            writers["republished"] = overlap.bRepublished;
            root["two_writers"] = writers;
        } else {
            root["two_writers"] = Json::Value();
        }
    }
    root["quota"]["usage"] = ModuleUsage::ToJson(usage);
    root["results"] = ResultSpaceToJson(m_publisher.Space(sModule));
    Json::Value limits(Json::objectValue);
    limits["request_bytes"] = static_cast<Json::UInt64>(m_iMaxInputSize);
    limits["budget_ms"] = static_cast<Json::Int64>(m_budget.count());
    limits["like_pattern_bytes"] = static_cast<Json::UInt64>(CStoreDatabase::kMaxLikePatternBytes);
    root["limits"] = limits;
    root["service_memory"] = ServiceMemory(m_database);
    return Accept(Compact(root), 0);
}
