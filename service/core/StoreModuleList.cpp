// modules: every registered module the caller may see, in accelerator order, with what a
// tool needs to tell that a module changed without reading its rows. `pelmoctl studio` asks
// it a few times a second; the library never sends it.
#include <map>
#include <mutex>
#include <string>

#include "StoreRequestHandler.h"

using StoreReplies::Accept;
using StoreReplies::Refuse;

namespace {
constexpr long long kMaxModulesListed = 4096;

std::string ColumnText(sqlite3_stmt* pStatement, int iColumn)
{
    const unsigned char* pText = sqlite3_column_text(pStatement, iColumn);
    if (pText == nullptr) return std::string();
    return std::string(reinterpret_cast<const char*>(pText),
                       static_cast<size_t>(sqlite3_column_bytes(pStatement, iColumn)));
}

// Rows per module of one table.
bool CountPerModule(CStoreDatabase& database, const char* sTable, std::map<std::string, long long>& mapCount,
                    std::string& sError)
{
    CStatement statement = database.Prepare(
        std::string("SELECT \"module_name\", count(*) FROM \"") + sTable + "\" GROUP BY \"module_name\"", sError);
    if (!statement) return false;
    int iStep;
    while ((iStep = sqlite3_step(statement.Get())) == SQLITE_ROW) {
        mapCount[ColumnText(statement.Get(), 0)] = sqlite3_column_int64(statement.Get(), 1);
    }
    if (iStep != SQLITE_DONE) {
        sError = "store error: " + database.LastError();
        return false;
    }
    return true;
}
}  // namespace

CStoreReply CStoreRequestHandler::ModulesRequest(const std::string& sCaller, const PT_CALLER_IDENTITY& caller)
{
    // A user sees the modules it could act for: its own, or all of them for root and the
    // platform services. Listing others' names would tell a user which apps another one runs.
    const bool bSeesAll = m_ownership.IsPrivileged(caller);
    if (!m_database.IsOpen()) return Refuse("store database is not open");
    std::string sError;
    std::map<std::string, long long> mapSections, mapTiles;
    if (!CountPerModule(m_database, "sections", mapSections, sError) ||
        !CountPerModule(m_database, "tiles", mapTiles, sError)) {
        return Refuse(sError);
    }
    // A module's first accelerator row stands for it, as in "stats"; positions first (a row
    // without one after those with one), then the order of registration.
    CStatement statement = m_database.Prepare(
        "SELECT \"module_name\", \"_id\", \"accelerator_title\", \"accelerator_position\" FROM \"accelerators\" AS a"
        " WHERE \"_id\" = (SELECT min(\"_id\") FROM \"accelerators\" AS b WHERE b.\"module_name\" = a.\"module_name\")"
        " ORDER BY (typeof(\"accelerator_position\") != 'integer'), \"accelerator_position\", \"_id\"",
        sError);
    if (!statement) return Refuse(sError);

    Json::Value root(Json::objectValue);
    root["caller"] = sCaller;
    root["modules"] = Json::Value(Json::arrayValue);
    root["truncated"] = false;
    // Moves only when a connection outside this service committed, whose requests this
    // service's journal never sees.
    root["outside_commits"] = static_cast<Json::Int64>(m_pShared->outsideWrites.Count(m_database.Handle()));
    int iStep;
    while ((iStep = sqlite3_step(statement.Get())) == SQLITE_ROW) {
        const std::string sModule = ColumnText(statement.Get(), 0);
        if (!bSeesAll && m_ownership.OwnerOf(sModule) != static_cast<long long>(caller.uUid)) continue;
        if (root["modules"].size() >= kMaxModulesListed) {
            root["truncated"] = true;
            break;
        }
        Json::Value module(Json::objectValue);
        module["module"] = sModule;
        module["accelerator_id"] = static_cast<Json::Int64>(sqlite3_column_int64(statement.Get(), 1));
        module["title"] = ColumnText(statement.Get(), 2);
        module["position"] = sqlite3_column_type(statement.Get(), 3) == SQLITE_INTEGER
                                 ? Json::Value(static_cast<Json::Int64>(sqlite3_column_int64(statement.Get(), 3)))
                                 : Json::Value();
        module["sections"] = static_cast<Json::Int64>(mapSections[sModule]);
        module["tiles"] = static_cast<Json::Int64>(mapTiles[sModule]);
        // The records are shared with the handlers of the other workers.
        std::lock_guard<std::mutex> lock(m_pShared->mutex);
        module["sync_count"] = static_cast<Json::Int64>(m_pShared->activity.SyncCount(sModule));
        module["journal_seq"] = static_cast<Json::Int64>(m_pShared->journal.LastSeq(sModule));
        // The last request that changed rows or said the preview changed; reads in between
        // (the tool's own included) leave it as it is.
        long long llChangeSeq = 0;
        for (const CJournalEntry& entry : m_pShared->journal.EntriesSince(sModule, 0)) {
            bool bChanged = entry.bOk && entry.sMethod == "send_sync";
            for (const auto& change : entry.mapChanges) {
                bChanged = bChanged || change.second.llInserted + change.second.llUpdated + change.second.llDeleted > 0;
            }
            if (bChanged) llChangeSeq = entry.llSeq;
        }
        module["change_seq"] = static_cast<Json::Int64>(llChangeSeq);
        root["modules"].append(module);
    }
    if (iStep != SQLITE_DONE && iStep != SQLITE_ROW) return Refuse("store error: " + m_database.LastError());
    return Accept(StoreReplies::Compact(root), static_cast<long long>(root["modules"].size()));
}
