#include "RequestJournal.h"

#include "ModuleSlots.h"
#include "StoreSchema.h"

namespace {
Json::Value Int(long long llValue)
{
    return Json::Value(static_cast<Json::Int64>(llValue));
}
}  // namespace

Json::Value RowChangesToJson(const CRowChanges& changes)
{
    Json::Value value(Json::objectValue);
    value["inserted"] = Int(changes.llInserted);
    value["updated"] = Int(changes.llUpdated);
    value["deleted"] = Int(changes.llDeleted);
    return value;
}

CJournalEntry& CRequestJournal::Append(const std::string& sModule, std::time_t tNow)
{
    CModuleJournal& journal = ModuleSlots::FindOrAdd(m_mapModule, sModule, kMaxModules,
                                                     [](const CModuleJournal& entry) { return entry.ullLastUse; });
    journal.ullLastUse = ++m_ullClock;
    if (journal.dequeEntries.size() >= kMaxEntriesPerModule) journal.dequeEntries.pop_front();
    journal.dequeEntries.emplace_back();
    CJournalEntry& entry = journal.dequeEntries.back();
    entry.llSeq = ++journal.llLastSeq;
    entry.tTime = tNow;
    return entry;
}

void CRequestJournal::Record(const std::string& sModule, const std::string& sMethod, const CStoreReply& reply,
                             std::time_t tNow)
{
    CJournalEntry& entry = Append(sModule, tNow);
    entry.sMethod = sMethod;
    entry.sTable = reply.sTable;
    entry.bOk = reply.bResult;
    if (!reply.bResult) entry.sReason = reply.sOutput.substr(0, kMaxReasonLength);
    entry.llRows = reply.llRows;
    entry.mapChanges = reply.mapChanges;
    CModuleJournal& journal = m_mapModule[sModule];
    for (const auto& change : reply.mapChanges) {
        CRowChanges& total = journal.mapTotals[change.first];
        total.llInserted += change.second.llInserted;
        total.llUpdated += change.second.llUpdated;
        total.llDeleted += change.second.llDeleted;
    }
}

void CRequestJournal::RecordNotice(const std::string& sModule, const std::string& sWhat, const std::string& sNote,
                                   std::time_t tNow)
{
    CJournalEntry& entry = Append(sModule, tNow);
    entry.sMethod = sWhat;
    entry.bOk = true;
    entry.sNote = sNote.substr(0, kMaxReasonLength);
}

long long CRequestJournal::LastSeq(const std::string& sModule) const
{
    auto it = m_mapModule.find(sModule);
    return it == m_mapModule.end() ? 0 : it->second.llLastSeq;
}

std::deque<CJournalEntry> CRequestJournal::EntriesSince(const std::string& sModule, long long llSince) const
{
    std::deque<CJournalEntry> dequeResult;
    auto it = m_mapModule.find(sModule);
    if (it == m_mapModule.end()) return dequeResult;
    for (const CJournalEntry& entry : it->second.dequeEntries) {
        if (entry.llSeq > llSince) dequeResult.push_back(entry);
    }
    return dequeResult;
}

std::map<std::string, CRowChanges> CRequestJournal::Totals(const std::string& sModule) const
{
    std::map<std::string, CRowChanges> mapTotals;
    for (const CStoreTable* pTable : StoreSchema::AllTables()) mapTotals[pTable->sName] = CRowChanges();
    auto it = m_mapModule.find(sModule);
    if (it != m_mapModule.end()) {
        for (const auto& total : it->second.mapTotals) mapTotals[total.first] = total.second;
    }
    return mapTotals;
}

Json::Value CRequestJournal::ToJson(const std::string& sModule, long long llSince) const
{
    Json::Value root(Json::objectValue);
    root["module"] = sModule;
    root["last_seq"] = Int(LastSeq(sModule));
    auto it = m_mapModule.find(sModule);
    const bool bAny = it != m_mapModule.end() && !it->second.dequeEntries.empty();
    // A reader that finds first_kept_seq above the entry it expected next knows that entries
    // were dropped in between; 0 when nothing is kept.
    root["first_kept_seq"] = Int(bAny ? it->second.dequeEntries.front().llSeq : 0);
    Json::Value totals(Json::objectValue);
    for (const auto& total : Totals(sModule)) totals[total.first] = RowChangesToJson(total.second);
    root["totals"] = totals;
    Json::Value entries(Json::arrayValue);
    for (const CJournalEntry& entry : EntriesSince(sModule, llSince)) {
        Json::Value item(Json::objectValue);
        item["seq"] = Int(entry.llSeq);
        item["time"] = Int(static_cast<long long>(entry.tTime));
        item["method"] = entry.sMethod;
        item["table"] = entry.sTable;
        item["ok"] = entry.bOk;
        if (!entry.bOk) item["reason"] = entry.sReason;
        if (!entry.sNote.empty()) item["note"] = entry.sNote;
        item["rows"] = Int(entry.llRows);
        Json::Value changes(Json::objectValue);
        for (const auto& change : entry.mapChanges) changes[change.first] = RowChangesToJson(change.second);
        item["changes"] = changes;
        entries.append(item);
    }
    root["entries"] = entries;
    return root;
}
