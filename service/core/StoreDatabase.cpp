#include "StoreDatabase.h"

#include <utility>

#include "ModuleUsage.h"
#include "StoreMigration.h"
#include "StoreSchema.h"

namespace {
// How long a statement waits for another connection's lock (a second service instance or a
// developer's sqlite3 shell) before the request fails.
constexpr int kBusyTimeoutMs = 5000;
// SQLite virtual-machine steps between two looks at the clock: a few microseconds of work.
constexpr int kProgressSteps = 1000;
// Text positions the LIKE matcher tries between two looks at the clock.
constexpr unsigned kLikeStepsPerCheck = 1u << 16;

bool IsStorageFailure(int iCode)
{
    const int iPrimary = iCode & 0xff;
    return iPrimary == SQLITE_FULL || iPrimary == SQLITE_IOERR;
}

// The length of the UTF-8 character that starts at pText[i] (1 for a stray byte).
std::size_t CharLength(const unsigned char* pText, std::size_t i, std::size_t iEnd)
{
    std::size_t iNext = i + 1;
    if (pText[i] >= 0xc0) {
        while (iNext < iEnd && (pText[iNext] & 0xc0) == 0x80) ++iNext;
    }
    return iNext - i;
}

unsigned char FoldAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}
}  // namespace

CStatement::~CStatement()
{
    Release();
}

CStatement::CStatement(CStatement&& other) noexcept
    : m_pStatement(std::exchange(other.m_pStatement, nullptr)), m_bOwned(other.m_bOwned)
{
}

CStatement& CStatement::operator=(CStatement&& other) noexcept
{
    if (this != &other) {
        Release();
        m_pStatement = std::exchange(other.m_pStatement, nullptr);
        m_bOwned = other.m_bOwned;
    }
    return *this;
}

void CStatement::Release()
{
    if (m_pStatement == nullptr) return;
    if (m_bOwned) {
        sqlite3_finalize(m_pStatement);
    } else {
        sqlite3_reset(m_pStatement);
        sqlite3_clear_bindings(m_pStatement);
    }
    m_pStatement = nullptr;
}

CStoreDatabase::~CStoreDatabase()
{
    FinalizeCache();
    if (m_pDb != nullptr) sqlite3_close_v2(m_pDb);
}

void CStoreDatabase::FinalizeCache()
{
    for (auto& entry : m_mapStatement) sqlite3_finalize(entry.second);
    m_mapStatement.clear();
}

bool CStoreDatabase::Open(const std::string& sPath, std::string& sError, StoreIdentity::EIntegrity integrity)
{
    if (m_pDb != nullptr) {
        sError = "database already open";
        return false;
    }
    if (sPath.empty()) {
        sError = "no database path given";
        return false;
    }
    // Before anything is written: switching to WAL or creating a table would already change
    // another program's file.
    if (sPath != ":memory:" && !StoreIdentity::CheckFile(sPath, integrity, sError)) return false;
    sqlite3* pDb = nullptr;
    // A connection serves one worker, one request at a time: SQLite need not lock it around
    // every call (each column of each row read costs a few of those).
    const int iRc =
        sqlite3_open_v2(sPath.c_str(), &pDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (iRc != SQLITE_OK) {
        sError = "cannot open database " + sPath + ": " + (pDb ? sqlite3_errmsg(pDb) : sqlite3_errstr(iRc));
        if (pDb != nullptr) sqlite3_close_v2(pDb);
        return false;
    }
    m_pDb = pDb;
    sqlite3_busy_timeout(m_pDb, kBusyTimeoutMs);
    sqlite3_extended_result_codes(m_pDb, 1);
    sqlite3_progress_handler(m_pDb, kProgressSteps, &CStoreDatabase::OnProgress, this);
    // The grammar's LIKE is ours: SQLite's cannot be stopped inside one comparison.
    if (sqlite3_create_function(m_pDb, "like", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, this, &CStoreDatabase::Like,
                                nullptr, nullptr) != SQLITE_OK) {
        sError = "cannot set up LIKE: " + LastError();
        sqlite3_close_v2(m_pDb);
        m_pDb = nullptr;
        return false;
    }
    {
        std::string sReason;
        if (!ModuleUsage::Register(m_pDb, sReason)) {
            sError = "cannot set up the quota's byte count: " + sReason;
            sqlite3_close_v2(m_pDb);
            m_pDb = nullptr;
            return false;
        }
    }

    if (sPath != ":memory:") {
        // WAL lets readers run beside the writer. synchronous=FULL syncs the WAL at every
        // commit: NORMAL already keeps committed rows through a kill of the service, but a TV
        // is switched off at the plug, and FULL keeps them through a power loss too; a request
        // commits once, so the cost is one sync per request.
        if (JournalMode() != "wal") {
            std::string sIgnored;
            Execute("PRAGMA journal_mode=WAL", sIgnored);
            if (JournalMode() != "wal") {
                sError = "cannot switch " + sPath + " to WAL journal mode: " + LastError();
                sqlite3_close_v2(m_pDb);
                m_pDb = nullptr;
                return false;
            }
        }
        if (!Execute("PRAGMA synchronous=FULL", sError)) {
            sqlite3_close_v2(m_pDb);
            m_pDb = nullptr;
            return false;
        }
    }
    if (!StoreMigration::Apply(*this, sError)) {
        FinalizeCache();
        sqlite3_close_v2(m_pDb);
        m_pDb = nullptr;
        return false;
    }
    return true;
}

CStatement CStoreDatabase::Prepare(const std::string& sSql, std::string& sError)
{
    if (m_pDb == nullptr) {
        sError = "database not open";
        return CStatement();
    }
    auto it = m_mapStatement.find(sSql);
    if (it != m_mapStatement.end()) return CStatement(it->second, false);
    sqlite3_stmt* pStatement = nullptr;
    const int iRc = sqlite3_prepare_v2(m_pDb, sSql.c_str(), static_cast<int>(sSql.size()), &pStatement, nullptr);
    if (iRc != SQLITE_OK || pStatement == nullptr) {
        sError = "cannot prepare statement: " + LastError();
        if (pStatement != nullptr) sqlite3_finalize(pStatement);
        return CStatement();
    }
    // A full cache keeps what it has; the new statement lives only as long as its borrower.
    if (m_mapStatement.size() >= kMaxCachedStatements) return CStatement(pStatement, true);
    m_mapStatement.emplace(sSql, pStatement);
    return CStatement(pStatement, false);
}

bool CStoreDatabase::Execute(const std::string& sSql, std::string& sError)
{
    char* pMessage = nullptr;
    if (sqlite3_exec(m_pDb, sSql.c_str(), nullptr, nullptr, &pMessage) != SQLITE_OK) {
        const std::string sLast = LastError();  // notes a storage failure
        sError = pMessage ? pMessage : sLast;
        sqlite3_free(pMessage);
        return false;
    }
    return true;
}

std::string CStoreDatabase::JournalMode()
{
    std::string sError;
    CStatement statement = Prepare("PRAGMA journal_mode", sError);
    if (!statement || sqlite3_step(statement.Get()) != SQLITE_ROW) return std::string();
    const unsigned char* pText = sqlite3_column_text(statement.Get(), 0);
    return pText ? reinterpret_cast<const char*>(pText) : std::string();
}

long long CStoreDatabase::CountRows(const std::string& sTable)
{
    bool bKnown = false;
    for (const CStoreTable* pTable : StoreSchema::AllTables()) bKnown = bKnown || pTable->sName == sTable;
    if (!bKnown) return -1;
    std::string sError;
    CStatement statement = Prepare("SELECT count(*) FROM \"" + sTable + "\"", sError);
    if (!statement || sqlite3_step(statement.Get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int64(statement.Get(), 0);
}

std::string CStoreDatabase::LastError() const
{
    if (m_pDb == nullptr) return "database not open";
    const int iCode = sqlite3_extended_errcode(m_pDb);
    if (IsStorageFailure(iCode)) m_iStorageFailure = iCode & 0xff;
    return sqlite3_errmsg(m_pDb);
}

void CStoreDatabase::BeginRequest(std::chrono::milliseconds budget)
{
    m_budget = budget;
    m_bOverBudget = false;
    m_iStorageFailure = SQLITE_OK;
    RestartBudget();
}

void CStoreDatabase::RestartBudget()
{
    m_deadline = m_budget.count() > 0 ? std::chrono::steady_clock::now() + m_budget
                                      : std::chrono::steady_clock::time_point::max();
}

void CStoreDatabase::EndRequest()
{
    m_deadline = std::chrono::steady_clock::time_point::max();
}

bool CStoreDatabase::PastDeadline()
{
    if (m_deadline == std::chrono::steady_clock::time_point::max()) return false;
    if (!m_bOverBudget && std::chrono::steady_clock::now() < m_deadline) return false;
    m_bOverBudget = true;
    return true;
}

int CStoreDatabase::OnProgress(void* pSelf)
{
    return static_cast<CStoreDatabase*>(pSelf)->PastDeadline() ? 1 : 0;
}

// SQLite's LIKE as the grammar offers it (no ESCAPE): '%' any run of characters, '_' one
// character, ASCII letters without regard to case, NULL when either side is NULL. Matching
// keeps one position to go back to, so it costs at most pattern times text steps, and it looks
// at the clock while it goes.
void CStoreDatabase::Like(sqlite3_context* pContext, int /*iArgs*/, sqlite3_value** ppArgs)
{
    auto* pSelf = static_cast<CStoreDatabase*>(sqlite3_user_data(pContext));
    if (sqlite3_value_type(ppArgs[0]) == SQLITE_NULL || sqlite3_value_type(ppArgs[1]) == SQLITE_NULL) {
        sqlite3_result_null(pContext);
        return;
    }
    const auto* pPattern = sqlite3_value_text(ppArgs[0]);
    const std::size_t iPatternEnd = static_cast<std::size_t>(sqlite3_value_bytes(ppArgs[0]));
    const auto* pText = sqlite3_value_text(ppArgs[1]);
    const std::size_t iTextEnd = static_cast<std::size_t>(sqlite3_value_bytes(ppArgs[1]));
    if (pPattern == nullptr || pText == nullptr) {
        sqlite3_result_error_nomem(pContext);
        return;
    }
    if (iPatternEnd > kMaxLikePatternBytes) {
        const std::string sError = "LIKE pattern of " + std::to_string(iPatternEnd) + " bytes (limit " +
                                   std::to_string(kMaxLikePatternBytes) + ")";
        sqlite3_result_error(pContext, sError.c_str(), -1);
        return;
    }
    std::size_t p = 0, t = 0;
    std::size_t iStarPattern = std::string::npos, iStarText = 0;
    unsigned uSteps = 0;
    while (t < iTextEnd) {
        if (++uSteps % kLikeStepsPerCheck == 0 && pSelf->PastDeadline()) {
            sqlite3_result_error(pContext, "interrupted", -1);
            return;
        }
        if (p < iPatternEnd && pPattern[p] == '%') {
            while (p < iPatternEnd && pPattern[p] == '%') ++p;
            iStarPattern = p;
            iStarText = t;
            continue;
        }
        if (p < iPatternEnd && pPattern[p] == '_') {
            p += 1;
            t += CharLength(pText, t, iTextEnd);
            continue;
        }
        if (p < iPatternEnd && FoldAscii(pPattern[p]) == FoldAscii(pText[t])) {
            ++p;
            ++t;
            continue;
        }
        if (iStarPattern == std::string::npos) {
            sqlite3_result_int(pContext, 0);
            return;
        }
        // Let the last '%' take one more character and try the rest again from there.
        iStarText += CharLength(pText, iStarText, iTextEnd);
        p = iStarPattern;
        t = iStarText;
    }
    while (p < iPatternEnd && pPattern[p] == '%') ++p;
    sqlite3_result_int(pContext, p == iPatternEnd ? 1 : 0);
}

CTransaction::CTransaction(CStoreDatabase& database) : m_database(database)
{
    if (CWriteTurns* pTurns = m_database.WriteLock()) {
        if (!pTurns->Take(kWriteWait)) {
            m_sError = "the store is busy: the writes before this one did not end within " +
                       std::to_string(std::chrono::duration_cast<std::chrono::seconds>(kWriteWait).count()) + " s";
            return;
        }
        m_bHaveTurn = true;
        m_database.RestartBudget();
    }
    m_bStarted = m_database.Execute("BEGIN IMMEDIATE", m_sError);
}

CTransaction::~CTransaction()
{
    if (m_bStarted && !m_bDone) {
        // Undoing is never cut short by the budget.
        m_database.EndRequest();
        std::string sIgnored;
        m_database.Execute("ROLLBACK", sIgnored);
    }
    if (m_bHaveTurn) m_database.WriteLock()->Give();
}

bool CTransaction::Commit(std::string& sError)
{
    if (!m_bStarted || m_bDone) {
        sError = "no transaction to commit";
        return false;
    }
    const auto commit = [&] { return m_database.Execute("COMMIT", sError); };
    COutsideWrites* pOutside = m_database.OutsideWrites();
    if (!(pOutside != nullptr ? pOutside->Commit(m_database.Handle(), commit) : commit())) {
        return false;  // the destructor rolls back
    }
    m_bDone = true;
    return true;
}
