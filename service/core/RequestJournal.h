// What each module recently asked of the store, and how many rows its requests changed since
// the service started, so that a person (or pelmoctl) can see what one publish sent. Memory
// only, and bounded: a module keeps its last kMaxEntriesPerModule requests, and the service
// keeps modules up to kMaxModules, forgetting the one that was quiet longest.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <ctime>
#include <deque>
#include <map>
#include <string>

#include "StoreReply.h"

struct CJournalEntry {
    long long llSeq = 0;    // per module, from 1, never reused while the service runs
    std::time_t tTime = 0;  // wall clock, seconds
    std::string sMethod;
    std::string sTable;  // SQLite table name; empty when the request named none
    bool bOk = false;
    std::string sReason;   // why it was refused; empty when it was not
    long long llRows = 0;  // as in the request log line
    std::map<std::string, CRowChanges> mapChanges;
    // Set for what the store noticed rather than was asked (sMethod then names the notice).
    std::string sNote;
};

class CRequestJournal {
public:
    static constexpr std::size_t kMaxEntriesPerModule = 128;
    static constexpr std::size_t kMaxModules = 256;
    // Longest refusal reason kept per entry.
    static constexpr std::size_t kMaxReasonLength = 240;

    void Record(const std::string& sModule, const std::string& sMethod, const CStoreReply& reply, std::time_t tNow);

    // Something the store noticed about the module's requests, kept in their order.
    void RecordNotice(const std::string& sModule, const std::string& sWhat, const std::string& sNote, std::time_t tNow);

    // The sequence number of the module's last recorded request; 0 when none.
    long long LastSeq(const std::string& sModule) const;
    // The module's kept entries with a sequence number above llSince, oldest first.
    std::deque<CJournalEntry> EntriesSince(const std::string& sModule, long long llSince) const;
    // Rows the module's requests changed since the service started, per table (all three
    // tables present). Kept apart from the entries, so that they stay exact when old entries
    // are dropped.
    std::map<std::string, CRowChanges> Totals(const std::string& sModule) const;

    // The answer to "journal": {"module", "last_seq", "first_kept_seq", "totals", "entries"}.
    Json::Value ToJson(const std::string& sModule, long long llSince) const;

private:
    CJournalEntry& Append(const std::string& sModule, std::time_t tNow);

    struct CModuleJournal {
        long long llLastSeq = 0;
        std::deque<CJournalEntry> dequeEntries;
        std::map<std::string, CRowChanges> mapTotals;
        unsigned long long ullLastUse = 0;  // for forgetting the quietest module
    };
    std::map<std::string, CModuleJournal> m_mapModule;
    unsigned long long m_ullClock = 0;
};

// {"inserted", "updated", "deleted"} of one table.
Json::Value RowChangesToJson(const CRowChanges& changes);
