#include "StoreRequestHandler.h"

#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "QueryGrammar.h"
#include "RequestEnvelope.h"
#include "TextCheck.h"

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

std::string Compact(const Json::Value& value)
{
    // Built once: a writer's settings only ever are read, so the workers share them.
    static const Json::StreamWriterBuilder s_builder = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        return builder;
    }();
    return Json::writeString(s_builder, value);
}
}  // namespace StoreReplies

using StoreReplies::Refuse;

namespace {
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
    kModules,
    kUnknown
};

// Every method the store answers, and whether the journal keeps it: the requests of the library
// are kept; the tooling's own questions (journal, stats, modules) are not.
struct PT_STORE_METHOD {
    const char* sName;
    Method eMethod;
    bool bJournalled;
};
constexpr PT_STORE_METHOD kMethods[] = {
    {"insert", Method::kInsert, true},
    {"insert_bulk", Method::kInsertBulk, true},
    {"update", Method::kUpdate, true},
    {"delete", Method::kDelete, true},
    {"select", Method::kSelect, true},
    {"send_sync", Method::kSync, true},
    {"start_preview_scheduler", Method::kStart, true},
    {"stop_preview_scheduler", Method::kStop, true},
    {"terminate_service", Method::kTerminate, true},
    {"journal", Method::kJournal, false},
    {"stats", Method::kStats, false},
    {"modules", Method::kModules, false},
};

// The method's entry in the table; null for a name the store does not answer.
const PT_STORE_METHOD* FindMethod(const std::string& sMethod)
{
    for (const PT_STORE_METHOD& method : kMethods) {
        if (sMethod == method.sName) return &method;
    }
    return nullptr;
}

bool IsJournalled(const std::string& sMethod)
{
    const PT_STORE_METHOD* pMethod = FindMethod(sMethod);
    return pMethod != nullptr && pMethod->bJournalled;
}

// Where a request stands in a publish (load, writes, completion event).
CPublishOverlap::Kind PublishStep(const std::string& sMethod, const CStoreReply& reply)
{
    if (sMethod == "send_sync") return CPublishOverlap::Kind::kDone;
    if (sMethod == "select") {
        // A load is the only time the library reads a module's sections (it reads the
        // accelerator row again in the middle of a publish, to add new sections to it).
        return reply.sTable == StoreSchema::Sections().sName ? CPublishOverlap::Kind::kLoadStart
                                                             : CPublishOverlap::Kind::kRead;
    }
    if (sMethod == "insert" || sMethod == "insert_bulk" || sMethod == "update" || sMethod == "delete") {
        return CPublishOverlap::Kind::kWrite;
    }
    return CPublishOverlap::Kind::kRead;
}

// A module name the journal can keep and show: what Dispatch accepts as a module.
bool IsUsableModule(const std::string& sModule)
{
    return !sModule.empty() && sModule.size() <= CStoreRequestHandler::kMaxModuleLength &&
           !TextCheck::HasNul(sModule) && TextCheck::IsUtf8(sModule) &&
           sModule != CStoreRequestHandler::kGLibInvalidText;
}
}  // namespace

CStoreReply CStoreRequestHandler::Handle(const std::string& sMethod, const std::string& sModule,
                                         const std::string& sInput, const PT_CALLER_IDENTITY& caller)
{
    const auto start = std::chrono::steady_clock::now();
    CStoreReply reply;
    {
        std::lock_guard<std::mutex> lock(m_pShared->mutex);
        m_llRequestId = ++m_pShared->llRequestId;
    }
    m_database.BeginRequest(m_budget);
    try {
        reply = Dispatch(sMethod, sModule, sInput, caller);
    } catch (const std::bad_alloc&) {
        reply = Refuse("internal error: out of memory");
    } catch (const std::exception& e) {
        reply = Refuse("internal error: " + CQueryGrammar::Excerpt(e.what(), 160));
    } catch (...) {
        reply = Refuse("internal error: unknown exception");
    }
    m_database.EndRequest();
    Explain(sMethod, reply);
    if (!reply.bResult) {
        reply.llRows = 0;
        reply.mapChanges.clear();
    }
    reply.dMillis = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    // What the library sent, for the module's journal. Reading the journal or the statistics
    // is not recorded, so that looking does not change what is seen; a request without a
    // usable module has no journal to go to.
    if (IsJournalled(sMethod) && IsUsableModule(sModule) && !reply.bForeignModule) {
        try {
            std::lock_guard<std::mutex> lock(m_pShared->mutex);
            const std::time_t tNow = m_clock();
            m_pShared->journal.Record(sModule, sMethod, reply, tNow);
            std::string sOverlap;
            if (reply.bResult &&
                m_pShared->overlap.Note(sModule, caller.sConnection, PublishStep(sMethod, reply), tNow, sOverlap)) {
                m_pShared->journal.RecordNotice(sModule, "two_writers", sOverlap, tNow);
            }
        } catch (...) {
            // Out of memory while keeping the journal: the request itself was answered.
        }
    }
    return reply;
}

void CStoreRequestHandler::Explain(const std::string& sMethod, CStoreReply& reply)
{
    if (reply.bResult) {
        // Rows inserted: the database could grow again. (An update or a delete may go through on
        // a full disk, in pages the database already has.)
        if (sMethod == "insert" || sMethod == "insert_bulk") {
            std::lock_guard<std::mutex> lock(m_pShared->mutex);
            CStorageCondition& storage = m_pShared->storage;
            storage.bFull = false;
            storage.sReason.clear();
            storage.tSince = 0;
        }
        return;
    }
    if (m_database.OverBudget()) {
        reply.sOutput = "refused: the request took longer than its time budget of " + std::to_string(m_budget.count()) +
                        " ms and changed nothing (" + CQueryGrammar::Excerpt(reply.sOutput, 120) + ")";
        return;
    }
    const int iFailure = m_database.StorageFailure();
    if (iFailure == SQLITE_OK) return;
    reply.sOutput = (iFailure == SQLITE_FULL ? "the store's disk is full, nothing changed: "
                                             : "the store's disk failed (I/O error), nothing changed: ") +
                    reply.sOutput;
    const std::time_t tNow = m_clock();
    std::lock_guard<std::mutex> lock(m_pShared->mutex);
    CStorageCondition& storage = m_pShared->storage;
    if (!storage.bFull) storage.tSince = tNow;
    storage.bFull = true;
    storage.sReason = CQueryGrammar::Excerpt(reply.sOutput, 160);
    storage.tLastFailure = tNow;
    ++storage.llFailures;
}

CStoreReply CStoreRequestHandler::Dispatch(const std::string& sMethod, const std::string& sModule,
                                           const std::string& sInput, const PT_CALLER_IDENTITY& caller)
{
    const PT_STORE_METHOD* pMethod = FindMethod(sMethod);
    const Method eMethod = pMethod != nullptr ? pMethod->eMethod : Method::kUnknown;
    if (eMethod == Method::kUnknown) return Refuse("unknown method: " + CQueryGrammar::Excerpt(sMethod, 64));

    if (sModule.empty()) return Refuse("empty module name");
    if (sModule.size() > kMaxModuleLength) {
        return Refuse("module name too long: " + std::to_string(sModule.size()) + " bytes (limit " +
                      std::to_string(kMaxModuleLength) + ")");
    }
    // Distinct names that are not UTF-8 would all be one module (GLib sends each as the same
    // stand-in text), and a NUL would cut the name wherever it is read as a C string.
    if (TextCheck::HasNul(sModule) || !TextCheck::IsUtf8(sModule)) {
        return Refuse("module name is not UTF-8 text without NUL characters");
    }
    if (sModule == kGLibInvalidText) {
        return Refuse(std::string("module name '") + kGLibInvalidText +
                      "' is what GLib sends for a name that is not UTF-8; it names no module");
    }
    if (sInput.size() > m_iMaxInputSize) {
        return Refuse("request too large: " + std::to_string(sInput.size()) + " bytes (limit " +
                      std::to_string(m_iMaxInputSize) + ")");
    }
    if (TextCheck::HasNul(sInput)) return Refuse("input contains a NUL character");
    if (!TextCheck::IsUtf8(sInput)) return Refuse("input is not UTF-8 text");
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
        case Method::kSync: {
            std::lock_guard<std::mutex> lock(m_pShared->mutex);
            m_pShared->activity.RecordSync(sModule, m_clock());
            return StoreReplies::Accept("", 0);
        }
        case Method::kStart:
        case Method::kStop: {
            // The package is the one whose scheduler changes; the input names the app that asked.
            std::lock_guard<std::mutex> lock(m_pShared->mutex);
            m_pShared->activity.RecordScheduler(sModule, eMethod == Method::kStart, sInput.substr(0, kMaxModuleLength));
            return StoreReplies::Accept("", 0);
        }
        case Method::kTerminate: {
            // Only recorded: the reference store does not end other processes.
            std::lock_guard<std::mutex> lock(m_pShared->mutex);
            m_pShared->activity.RecordTerminate(sModule, sInput.substr(0, kMaxModuleLength));
            return StoreReplies::Accept("", 0);
        }
        case Method::kJournal:
            return JournalRequest(sModule, sInput);
        case Method::kStats:
            return StatsRequest(sModule);
        case Method::kModules:
            return ModulesRequest(sModule, caller);
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
