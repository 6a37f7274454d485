#include "StoreDatabase.h"

#include <utility>

#include "StoreMigration.h"
#include "StoreSchema.h"

namespace {
// How long a statement waits for another connection's lock (a second service instance or a
// developer's sqlite3 shell) before the request fails.
constexpr int kBusyTimeoutMs = 5000;
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

bool CStoreDatabase::Open(const std::string& sPath, std::string& sError)
{
    if (m_pDb != nullptr) {
        sError = "database already open";
        return false;
    }
    if (sPath.empty()) {
        sError = "no database path given";
        return false;
    }
    sqlite3* pDb = nullptr;
    const int iRc = sqlite3_open_v2(sPath.c_str(), &pDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (iRc != SQLITE_OK) {
        sError = "cannot open database " + sPath + ": " + (pDb ? sqlite3_errmsg(pDb) : sqlite3_errstr(iRc));
        if (pDb != nullptr) sqlite3_close_v2(pDb);
        return false;
    }
    m_pDb = pDb;
    sqlite3_busy_timeout(m_pDb, kBusyTimeoutMs);
    sqlite3_extended_result_codes(m_pDb, 1);

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
        sError = pMessage ? pMessage : LastError();
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
    return m_pDb ? sqlite3_errmsg(m_pDb) : "database not open";
}

CTransaction::CTransaction(CStoreDatabase& database) : m_database(database)
{
    m_bStarted = m_database.Execute("BEGIN IMMEDIATE", m_sError);
}

CTransaction::~CTransaction()
{
    if (m_bStarted && !m_bDone) {
        std::string sIgnored;
        m_database.Execute("ROLLBACK", sIgnored);
    }
}

bool CTransaction::Commit(std::string& sError)
{
    if (!m_bStarted || m_bDone) {
        sError = "no transaction to commit";
        return false;
    }
    if (!m_database.Execute("COMMIT", sError)) return false;  // the destructor rolls back
    m_bDone = true;
    return true;
}
