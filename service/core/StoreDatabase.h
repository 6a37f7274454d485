// The store's SQLite database: opening it with the journal settings the service needs,
// creating the preview tables, transactions and a cache of prepared statements.
#pragma once

#include <sqlite3.h>

#include <string>
#include <unordered_map>

class CStoreDatabase;

// A prepared statement borrowed from the database's cache; reset and unbound when released.
class CStatement {
public:
    CStatement() = default;
    CStatement(sqlite3_stmt* pStatement, bool bOwned) : m_pStatement(pStatement), m_bOwned(bOwned) {}
    ~CStatement();
    CStatement(CStatement&& other) noexcept;
    CStatement& operator=(CStatement&& other) noexcept;
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    sqlite3_stmt* Get() const { return m_pStatement; }
    explicit operator bool() const { return m_pStatement != nullptr; }

private:
    void Release();
    sqlite3_stmt* m_pStatement = nullptr;
    bool m_bOwned = false;  // finalised on release instead of returned to the cache
};

class CStoreDatabase {
public:
    CStoreDatabase() = default;
    ~CStoreDatabase();
    CStoreDatabase(const CStoreDatabase&) = delete;
    CStoreDatabase& operator=(const CStoreDatabase&) = delete;

    // Opens (creating if needed) the database at sPath, or an in-memory one for ":memory:",
    // and creates the preview tables or brings an older database up to the current schema. False with a one-line reason
    // when it cannot.
    bool Open(const std::string& sPath, std::string& sError);
    bool IsOpen() const { return m_pDb != nullptr; }
    sqlite3* Handle() const { return m_pDb; }

    // A prepared statement for sSql, from the cache when it was prepared before.
    CStatement Prepare(const std::string& sSql, std::string& sError);
    bool Execute(const std::string& sSql, std::string& sError);

    // The journal mode in effect ("wal" for a file database).
    std::string JournalMode();
    // Rows of a table, all modules together; -1 when the table cannot be read.
    long long CountRows(const std::string& sTable);

    // The most recent SQLite error message of this connection.
    std::string LastError() const;

private:
    static constexpr std::size_t kMaxCachedStatements = 128;
    void FinalizeCache();

    sqlite3* m_pDb = nullptr;
    std::unordered_map<std::string, sqlite3_stmt*> m_mapStatement;
};

// BEGIN IMMEDIATE on construction; rolled back on destruction unless committed, so that a
// request that fails half way leaves every row as it was.
class CTransaction {
public:
    explicit CTransaction(CStoreDatabase& database);
    ~CTransaction();
    CTransaction(const CTransaction&) = delete;
    CTransaction& operator=(const CTransaction&) = delete;

    bool Started() const { return m_bStarted; }
    const std::string& Error() const { return m_sError; }
    bool Commit(std::string& sError);

private:
    CStoreDatabase& m_database;
    bool m_bStarted = false;
    bool m_bDone = false;
    std::string m_sError;
};
