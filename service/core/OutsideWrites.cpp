#include "OutsideWrites.h"

COutsideWrites::~COutsideWrites()
{
    if (m_pWatch != nullptr) sqlite3_close_v2(m_pWatch);
}

bool COutsideWrites::Open(const std::string& sPath, std::string& sError)
{
    if (sPath == ":memory:") return true;
    sqlite3* pDb = nullptr;
    const int iRc = sqlite3_open_v2(sPath.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr);
    if (iRc != SQLITE_OK) {
        sError = "cannot watch " + sPath +
                 " for outside writes: " + (pDb != nullptr ? sqlite3_errmsg(pDb) : sqlite3_errstr(iRc));
        sqlite3_close_v2(pDb);
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pWatch = pDb;
    m_llSeen = VersionLocked(nullptr);
    return true;
}

long long COutsideWrites::VersionLocked(sqlite3* pConnection)
{
    sqlite3* pDb = m_pWatch != nullptr ? m_pWatch : pConnection;
    if (pDb == nullptr) return -1;
    sqlite3_stmt* pStatement = nullptr;
    if (sqlite3_prepare_v2(pDb, "PRAGMA data_version", -1, &pStatement, nullptr) != SQLITE_OK) return -1;
    long long llVersion = -1;
    if (sqlite3_step(pStatement) == SQLITE_ROW) llVersion = sqlite3_column_int64(pStatement, 0);
    sqlite3_finalize(pStatement);
    return llVersion;
}

void COutsideWrites::LookLocked(sqlite3* pConnection)
{
    const long long llVersion = VersionLocked(pConnection);
    if (llVersion < 0) return;  // unreadable now; the next look compares with the last good one
    if (m_llSeen >= 0 && llVersion != m_llSeen) ++m_llOutside;
    m_llSeen = llVersion;
}

bool COutsideWrites::Commit(sqlite3* pConnection, const std::function<bool()>& commit)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    // The transaction holds SQLite's write lock, so nobody commits between this look and the
    // COMMIT; a move seen now happened before the transaction began.
    LookLocked(pConnection);
    const bool bCommitted = commit();
    // An outside commit that slips in between the COMMIT and this read is taken for the
    // service's own: a window of one statement, which a later outside commit closes.
    const long long llVersion = VersionLocked(pConnection);
    if (llVersion >= 0) m_llSeen = llVersion;
    return bCommitted;
}

long long COutsideWrites::Count(sqlite3* pConnection)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    LookLocked(pConnection);
    return m_llOutside;
}
