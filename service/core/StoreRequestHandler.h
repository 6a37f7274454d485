// The store service's request handling without the bus: one "Call(method, package, input)"
// in, one (result, output) out. The daemon's bus glue, the tests and the fuzzer all call it.
// One handler serves one request at a time on its own database connection. Several handlers
// serve side by side when they are given one shared state (records, request counter, write
// lock) and a publisher that may be called from several threads.
#pragma once

#include <json/json.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "CallerIdentity.h"
#include "ModuleActivity.h"
#include "ModuleOwnership.h"
#include "ModuleQuota.h"
#include "RequestJournal.h"
#include "ResultPublisher.h"
#include "SanitizerBuild.h"
#include "StoreDatabase.h"
#include "StoreReply.h"
#include "StoreSchema.h"
#include "StoreSharedState.h"

class CStoreRequestHandler {
public:
    // Largest input text of one request, unless SetMaxInputSize says otherwise (the daemon sets
    // it to what the bus carries in one message).
    static constexpr std::size_t kMaxInputSize = 4u * 1024u * 1024u;
    // Longest module (package) name.
    static constexpr std::size_t kMaxModuleLength = 256;
    // The time every request's statements may take together (a write's from when it has the
    // store to itself). The library's largest requests for a 300-tile preview take a few
    // milliseconds (service/README.md has the figures).
#if defined(PELMO_SANITIZER_BUILD) || defined(PELMO_EMULATED_TEST_BUILD)
    // Instrumentation, or a processor emulated by qemu-user in the ARM test runs, makes every
    // step several times slower.
    static constexpr std::chrono::milliseconds kDefaultBudget{10000};
#else
    static constexpr std::chrono::milliseconds kDefaultBudget{1000};
#endif
    // The text GLib sends in place of a string that is not UTF-8: every such module name
    // arrives as this one text, so it names no module.
    static constexpr const char* kGLibInvalidText = "[Invalid UTF-8]";

    CStoreRequestHandler(CStoreDatabase& database, IResultPublisher& publisher)
        : CStoreRequestHandler(database, publisher, std::make_shared<CStoreSharedState>())
    {
    }
    // A handler that serves beside others on the same store, each with its own connection.
    CStoreRequestHandler(CStoreDatabase& database, IResultPublisher& publisher,
                         std::shared_ptr<CStoreSharedState> pShared)
        : m_database(database), m_publisher(publisher), m_ownership(database), m_pShared(std::move(pShared))
    {
        m_database.SetOutsideWrites(&m_pShared->outsideWrites);
    }

    // Never throws: every refusal or failure is a false result with a one-line reason, and
    // leaves the rows as they were. `caller` is who sent the request as the bus says; the
    // module must be the caller's unless the caller is privileged.
    CStoreReply Handle(const std::string& sMethod, const std::string& sModule, const std::string& sInput,
                       const PT_CALLER_IDENTITY& caller);

    // Users besides root that may act for every module (the platform's own services).
    void SetPlatformServices(std::set<uid_t> setUid)
    {
        m_ownership.SetPlatformServices(std::move(setUid));
    }

    // For tests, while no other handler of the shared state runs.
    const CModuleActivity& Activity() const
    {
        return m_pShared->activity;
    }
    const CRequestJournal& Journal() const
    {
        return m_pShared->journal;
    }

    void SetBudget(std::chrono::milliseconds budget)
    {
        m_budget = budget;
    }
    std::chrono::milliseconds Budget() const
    {
        return m_budget;
    }
    // How much one module may hold; a write that would leave it over is refused whole (a
    // module over a lowered quota can only delete until it is under it).
    void SetModuleQuota(const PT_MODULE_QUOTA& quota)
    {
        m_quota = quota;
    }
    const PT_MODULE_QUOTA& ModuleQuota() const
    {
        return m_quota;
    }
    void SetMaxInputSize(std::size_t iBytes)
    {
        m_iMaxInputSize = iBytes;
    }
    std::size_t MaxInputSize() const
    {
        return m_iMaxInputSize;
    }

    // The wall clock used for the journal, completion times and display windows; tests set
    // their own.
    void SetClock(std::function<std::time_t()> clock)
    {
        m_clock = std::move(clock);
    }

private:
    CStoreReply Dispatch(const std::string& sMethod, const std::string& sModule, const std::string& sInput,
                         const PT_CALLER_IDENTITY& caller);
    // The reason a request was stopped or failed for the store's sake (budget, full disk), and
    // the storage condition kept up to date from the request's outcome.
    void Explain(const std::string& sMethod, CStoreReply& reply);

    // StoreWriteRequests.cpp
    CStoreReply Insert(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply InsertBulk(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply Update(const std::string& sModule, const Json::Value& root);
    bool InsertRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, long long& llRowId,
                   std::string& sError);
    // An accelerator row registers its module: the caller becomes its owner, unless it has one.
    bool RecordRegistration(const CStoreTable& table, const std::string& sModule, const PT_CALLER_IDENTITY& caller,
                            std::string& sError);
    // The end of an insert of llCount rows into table, inside its transaction: the quota and the
    // registration are checked before the commit, so that a refused insert leaves no row behind;
    // the answer is the last new row id.
    CStoreReply FinishInsert(CTransaction& transaction, const CStoreTable& table, const std::string& sModule,
                             const PT_CALLER_IDENTITY& caller, long long llRowId, long long llCount);
    bool UpdateRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row, std::string& sError);
    // After a write, inside its transaction: false with the reason when the module is now over its quota.
    bool WithinQuota(const std::string& sModule, std::string& sError);

    // StoreToolingRequests.cpp: methods that pelmoctl and people use, never the library.
    CStoreReply JournalRequest(const std::string& sModule, const std::string& sInput);
    CStoreReply StatsRequest(const std::string& sModule);
    // StoreModuleList.cpp: the registered modules the calling user may act for, for a tool that
    // shows them all.
    CStoreReply ModulesRequest(const std::string& sCaller, const PT_CALLER_IDENTITY& caller);

    // StoreReadRequests.cpp
    CStoreReply Select(const std::string& sModule, const Json::Value& root, const PT_CALLER_IDENTITY& caller);
    CStoreReply Delete(const std::string& sModule, const Json::Value& root);
    // Deletes the row and, first, every row that names it as parent; counts them per table.
    bool DeleteRowAndChildren(const CStoreTable& table, const std::string& sModule, long long llRowId,
                              std::map<std::string, CRowChanges>& mapDeleted, std::string& sError);

    CStoreDatabase& m_database;
    IResultPublisher& m_publisher;
    // Owners live in the database, so every handler of one store sees the same ones.
    CModuleOwnership m_ownership;
    std::shared_ptr<CStoreSharedState> m_pShared;
    std::function<std::time_t()> m_clock = [] { return std::time(nullptr); };
    std::chrono::milliseconds m_budget = kDefaultBudget;
    std::size_t m_iMaxInputSize = kMaxInputSize;
    PT_MODULE_QUOTA m_quota;
    long long m_llRequestId = 0;  // this request's number, for the select reply
};

// Helpers shared by the request files.
namespace StoreReplies {
CStoreReply Refuse(const std::string& sReason);
CStoreReply Accept(const std::string& sOutput, long long llRows);
// value as one line of JSON without indentation: the output of every method that answers JSON.
std::string Compact(const Json::Value& value);
}  // namespace StoreReplies
