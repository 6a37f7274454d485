#include "StoreRequestHandler.h"

#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "QueryGrammar.h"
#include "RequestEnvelope.h"

namespace StoreReplies {
CStoreReply Refuse(const std::string& sReason)
{
    CStoreReply reply;
    reply.bResult = false;
    reply.sOutput = sReason;
    return reply;
}

CStoreReply Accept(const std::string& sOutput, long long llRows)
{
    CStoreReply reply;
    reply.bResult = true;
    reply.sOutput = sOutput;
    reply.llRows = llRows;
    return reply;
}
}  // namespace StoreReplies

using StoreReplies::Refuse;

namespace {
bool IsJournalled(const std::string& sMethod)
{
    for (const char* sName : {"insert", "insert_bulk", "update", "delete", "select", "send_sync",
                              "start_preview_scheduler", "stop_preview_scheduler", "terminate_service"}) {
        if (sMethod == sName) return true;
    }
    return false;
}
}  // namespace

CStoreReply CStoreRequestHandler::Handle(const std::string& sMethod, const std::string& sModule,
                                         const std::string& sInput, const PT_CALLER_IDENTITY& caller)
{
    const auto start = std::chrono::steady_clock::now();
    CStoreReply reply;
    try {
        ++m_llRequestId;
        reply = Dispatch(sMethod, sModule, sInput, caller);
    } catch (const std::bad_alloc&) {
        reply = Refuse("internal error: out of memory");
    } catch (const std::exception& e) {
        reply = Refuse("internal error: " + CQueryGrammar::Excerpt(e.what(), 160));
    } catch (...) {
        reply = Refuse("internal error: unknown exception");
    }
    if (!reply.bResult) {
        reply.llRows = 0;
        reply.mapChanges.clear();
    }
    reply.dMillis = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    // What the library sent, for the module's journal. Reading the journal or the statistics
    // is not recorded, so that looking does not change what is seen; a request without a
    // usable module has no journal to go to.
    if (IsJournalled(sMethod) && !sModule.empty() && sModule.size() <= kMaxModuleLength && !reply.bForeignModule) {
        try {
            m_journal.Record(sModule, sMethod, reply, m_clock());
        } catch (...) {
            // Out of memory while keeping the journal: the request itself was answered.
        }
    }
    return reply;
}

CStoreReply CStoreRequestHandler::Dispatch(const std::string& sMethod, const std::string& sModule,
                                           const std::string& sInput, const PT_CALLER_IDENTITY& caller)
{
    enum class Method {
        kInsert,
        kInsertBulk,
        kUpdate,
        kDelete,
        kSelect,
        kSync,
        kStart,
        kStop,
        kTerminate,
        kJournal,
        kStats,
        kUnknown
    };
    Method eMethod = Method::kUnknown;
    if (sMethod == "insert") eMethod = Method::kInsert;
    else if (sMethod == "insert_bulk") eMethod = Method::kInsertBulk;
    else if (sMethod == "update") eMethod = Method::kUpdate;
    else if (sMethod == "delete") eMethod = Method::kDelete;
    else if (sMethod == "select") eMethod = Method::kSelect;
    else if (sMethod == "send_sync") eMethod = Method::kSync;
    else if (sMethod == "start_preview_scheduler") eMethod = Method::kStart;
    else if (sMethod == "stop_preview_scheduler") eMethod = Method::kStop;
    else if (sMethod == "terminate_service") eMethod = Method::kTerminate;
    else if (sMethod == "journal") eMethod = Method::kJournal;
    else if (sMethod == "stats") eMethod = Method::kStats;
    if (eMethod == Method::kUnknown) return Refuse("unknown method: " + CQueryGrammar::Excerpt(sMethod, 64));

    if (sModule.empty()) return Refuse("empty module name");
    if (sModule.size() > kMaxModuleLength) {
        return Refuse("module name too long: " + std::to_string(sModule.size()) + " bytes (limit " +
                      std::to_string(kMaxModuleLength) + ")");
    }
    if (sInput.size() > kMaxInputSize) {
        return Refuse("request too large: " + std::to_string(sInput.size()) + " bytes (limit " +
                      std::to_string(kMaxInputSize) + ")");
    }
    // Every method, the tooling ones included, acts for the named module only if the caller
    // may: the package name says which module, never who is asking.
    {
        std::string sError;
        if (!m_ownership.Admit(sModule, caller, sError)) {
            CStoreReply reply = Refuse(sError);
            reply.bForeignModule = true;
            return reply;
        }
    }

    switch (eMethod) {
    case Method::kSync:
        m_activity.RecordSync(sModule, m_clock());
        return StoreReplies::Accept("", 0);
    case Method::kStart:
    case Method::kStop:
        // The package is the one whose scheduler changes; the input names the app that asked.
        m_activity.RecordScheduler(sModule, eMethod == Method::kStart, sInput.substr(0, kMaxModuleLength));
        return StoreReplies::Accept("", 0);
    case Method::kTerminate:
        // Only recorded: the reference store does not end other processes.
        m_activity.RecordTerminate(sModule, sInput.substr(0, kMaxModuleLength));
        return StoreReplies::Accept("", 0);
    case Method::kJournal:
        return JournalRequest(sModule, sInput);
    case Method::kStats:
        return StatsRequest(sModule);
    default:
        break;
    }

    if (!m_database.IsOpen()) return Refuse("store database is not open");
    Json::Value root;
    std::string sError;
    if (!RequestEnvelope::ParseObject(sInput, root, sError)) return Refuse(sError);
    CStoreReply reply;
    switch (eMethod) {
    case Method::kInsert:
        reply = Insert(sModule, root, caller);
        break;
    case Method::kInsertBulk:
        reply = InsertBulk(sModule, root, caller);
        break;
    case Method::kUpdate:
        reply = Update(sModule, root);
        break;
    case Method::kDelete:
        reply = Delete(sModule, root);
        break;
    case Method::kSelect:
        reply = Select(sModule, root, caller);
        break;
    default:
        return Refuse("internal error: method not dispatched");
    }
    // The journal names the table also for a refused request, when the request named one.
    const Json::Value& tableName = std::as_const(root)["table_name"];
    const CStoreTable* pTable = tableName.isString() ? StoreSchema::FindByContentUri(tableName.asString()) : nullptr;
    if (pTable != nullptr) reply.sTable = pTable->sName;
    return reply;
}
