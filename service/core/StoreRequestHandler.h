// The store service's request handling without the bus: one "Call(method, package, input)"
// in, one (result, output) out. The daemon's bus glue, the tests and the fuzzer all call it.
// One thread at a time: the daemon handles calls one after another on its main loop, and the
// database connection and statement cache are not shared.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <ctime>
#include <functional>
#include <map>
#include <string>

#include "ModuleActivity.h"
#include "RequestJournal.h"
#include "ResultPublisher.h"
#include "StoreDatabase.h"
#include "StoreReply.h"
#include "StoreSchema.h"

class CStoreRequestHandler {
public:
    // Largest input text of one request.
    static constexpr std::size_t kMaxInputSize = 4u * 1024u * 1024u;
    // Longest module (package) name.
    static constexpr std::size_t kMaxModuleLength = 256;

    CStoreRequestHandler(CStoreDatabase& database, IResultPublisher& publisher)
        : m_database(database), m_publisher(publisher)
    {
    }

    // Never throws: every refusal or failure is a false result with a one-line reason, and
    // leaves the rows as they were.
    CStoreReply Handle(const std::string& sMethod, const std::string& sModule, const std::string& sInput);

    const CModuleActivity& Activity() const { return m_activity; }
    const CRequestJournal& Journal() const { return m_journal; }

    // The wall clock used for the journal, completion times and display windows; tests set
    // their own.
    void SetClock(std::function<std::time_t()> clock) { m_clock = std::move(clock); }

    // Which registered modules a caller may see in the "modules" answer. Without one set,
    // every caller sees every module: any peer may name any package in a call.
    using ModuleVisibility = std::function<bool(const std::string& sCaller, const std::string& sModule)>;
    void SetModuleVisibility(ModuleVisibility visible) { m_moduleVisible = std::move(visible); }

private:
    CStoreReply Dispatch(const std::string& sMethod, const std::string& sModule, const std::string& sInput);

    // StoreWriteRequests.cpp
    CStoreReply Insert(const std::string& sModule, const Json::Value& root);
    CStoreReply InsertBulk(const std::string& sModule, const Json::Value& root);
    CStoreReply Update(const std::string& sModule, const Json::Value& root);
    bool InsertRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, long long& llRowId,
                   std::string& sError);
    bool UpdateRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, std::string& sError);

    // StoreToolingRequests.cpp: methods that pelmoctl and people use, never the library.
    CStoreReply JournalRequest(const std::string& sModule, const std::string& sInput);
    CStoreReply StatsRequest(const std::string& sModule);
    // StoreModuleList.cpp: the registered modules, for a tool that shows them all.
    CStoreReply ModulesRequest(const std::string& sCaller);

    // StoreReadRequests.cpp
    CStoreReply Select(const std::string& sModule, const Json::Value& root);
    CStoreReply Delete(const std::string& sModule, const Json::Value& root);
    // Deletes the row and, first, every row that names it as parent; counts them per table.
    bool DeleteRowAndChildren(const CStoreTable& table, const std::string& sModule, long long llRowId,
                              std::map<std::string, CRowChanges>& mapDeleted, std::string& sError);

    CStoreDatabase& m_database;
    IResultPublisher& m_publisher;
    CModuleActivity m_activity;
    CRequestJournal m_journal;
    std::function<std::time_t()> m_clock = [] { return std::time(nullptr); };
    ModuleVisibility m_moduleVisible;
    long long m_llRequestId = 0;
};

// Helpers shared by the request files.
namespace StoreReplies {
CStoreReply Refuse(const std::string& sReason);
CStoreReply Accept(const std::string& sOutput, long long llRows);
}  // namespace StoreReplies
