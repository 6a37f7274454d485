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
#include <set>
#include <string>

#include "CallerIdentity.h"
#include "ModuleActivity.h"
#include "ModuleOwnership.h"
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
        : m_database(database), m_publisher(publisher), m_ownership(database)
    {
    }

    // Never throws: every refusal or failure is a false result with a one-line reason, and
    // leaves the rows as they were. `caller` is who sent the request as the bus says; the
    // module must be the caller's unless the caller is privileged.
    CStoreReply Handle(const std::string& sMethod, const std::string& sModule, const std::string& sInput,
                       const PT_CALLER_IDENTITY& caller);

    // Users besides root that may act for every module (the platform's own services).
    void SetPlatformServices(std::set<uid_t> setUid) { m_ownership.SetPlatformServices(std::move(setUid)); }

    const CModuleActivity& Activity() const { return m_activity; }
    const CRequestJournal& Journal() const { return m_journal; }

    // The wall clock used for the journal, completion times and display windows; tests set
    // their own.
    void SetClock(std::function<std::time_t()> clock) { m_clock = std::move(clock); }

private:
    CStoreReply Dispatch(const std::string& sMethod, const std::string& sModule, const std::string& sInput,
                         const PT_CALLER_IDENTITY& caller);

    // StoreWriteRequests.cpp
    CStoreReply Insert(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply InsertBulk(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply Update(const std::string& sModule, const Json::Value& root);
    bool InsertRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, long long& llRowId,
                   std::string& sError);
    // An accelerator row registers its module: the caller becomes its owner, unless it has one.
    bool RecordRegistration(const CStoreTable& table, const std::string& sModule, const PT_CALLER_IDENTITY& caller,
                            std::string& sError);
    bool UpdateRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, std::string& sError);

    // StoreToolingRequests.cpp: methods that pelmoctl and people use, never the library.
    CStoreReply JournalRequest(const std::string& sModule, const std::string& sInput);
    CStoreReply StatsRequest(const std::string& sModule);

    // StoreReadRequests.cpp
    CStoreReply Select(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply Delete(const std::string& sModule, const Json::Value& root);
    // Deletes the row and, first, every row that names it as parent; counts them per table.
    bool DeleteRowAndChildren(const CStoreTable& table, const std::string& sModule, long long llRowId,
                              std::map<std::string, CRowChanges>& mapDeleted, std::string& sError);

    CStoreDatabase& m_database;
    IResultPublisher& m_publisher;
    CModuleOwnership m_ownership;
    CModuleActivity m_activity;
    CRequestJournal m_journal;
    std::function<std::time_t()> m_clock = [] { return std::time(nullptr); };
    long long m_llRequestId = 0;
};

// Helpers shared by the request files.
namespace StoreReplies {
CStoreReply Refuse(const std::string& sReason);
CStoreReply Accept(const std::string& sOutput, long long llRows);
}  // namespace StoreReplies
