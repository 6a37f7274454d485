// The store's SQLite database: opening it with the journal settings the service needs,
// creating the preview tables, transactions and a cache of prepared statements.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_map>

#include "OutsideWrites.h"
#include "StoreIdentity.h"
#include "WriteTurns.h"

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

// One connection to the store. It is used by one thread at a time (a worker serves its requests
// in turn); connections of several threads share nothing but the file.
class CStoreDatabase {
public:
    CStoreDatabase() = default;
    ~CStoreDatabase();
    CStoreDatabase(const CStoreDatabase&) = delete;
    CStoreDatabase& operator=(const CStoreDatabase&) = delete;

    // Opens (creating if needed) the database at sPath, or an in-memory one for ":memory:",
    // and creates the preview tables or brings an older database up to the current schema.
    // An existing file is looked at first and refused, unchanged, unless it is a store (see
    // StoreIdentity); `integrity` says whether every page is read for that. False with a
    // one-line reason when it cannot.
    bool Open(const std::string& sPath, std::string& sError,
              StoreIdentity::EIntegrity integrity = StoreIdentity::EIntegrity::kCheck);
    bool IsOpen() const { return m_pDb != nullptr; }
    sqlite3* Handle() const { return m_pDb; }

    // A prepared statement for sSql, from the cache when it was prepared before.
    CStatement Prepare(const std::string& sSql, std::string& sError);
    bool Execute(const std::string& sSql, std::string& sError);

    // The journal mode in effect ("wal" for a file database).
    std::string JournalMode();
    // Rows of a table, all modules together; -1 when the table cannot be read.
    long long CountRows(const std::string& sTable);

    // The most recent SQLite error message of this connection. Every request reports its
    // SQLite failure through here, so the failure's kind is noted too (see StorageFailure).
    std::string LastError() const;

    // One request's work: every statement it runs until EndRequest stops at the deadline
    // `budget` from now (SQLite's progress handler, and the store's own LIKE). Notes of the last
    // request (over budget, storage failure) are cleared.
    void BeginRequest(std::chrono::milliseconds budget);
    // Starts the budget afresh from now: a write counts from when it has the store to itself,
    // not from when it started waiting for another module's write to end.
    void RestartBudget();
    void EndRequest();
    // True once a statement of the current request was stopped at its deadline.
    bool OverBudget() const { return m_bOverBudget; }
    // SQLITE_FULL or SQLITE_IOERR when the current request failed because the database could
    // not grow or be written; SQLITE_OK otherwise.
    int StorageFailure() const { return m_iStorageFailure; }
    // The store's own LIKE, which checks the deadline while it matches: one LIKE over a long
    // text is a single step for SQLite, whose progress handler cannot stop it.
    static constexpr std::size_t kMaxLikePatternBytes = 256;

    // Several connections to one file serve requests side by side; writes of all of them take
    // turns here first, so that a write waits for another in order instead of polling SQLite's
    // busy handler. Null (a single connection): no turns.
    void SetWriteLock(CWriteTurns* pLock) { m_pWriteLock = pLock; }
    CWriteTurns* WriteLock() const { return m_pWriteLock; }
    COutsideWrites* OutsideWrites() const { return m_pOutside; }
    // Where this connection's commits are noted as the service's own (see COutsideWrites).
    void SetOutsideWrites(COutsideWrites* pOutside) { m_pOutside = pOutside; }

private:
    static constexpr std::size_t kMaxCachedStatements = 128;
    void FinalizeCache();
    static int OnProgress(void* pSelf);
    static void Like(sqlite3_context* pContext, int iArgs, sqlite3_value** ppArgs);
    // True when the deadline of the current request has passed; notes it.
    bool PastDeadline();

    sqlite3* m_pDb = nullptr;
    std::unordered_map<std::string, sqlite3_stmt*> m_mapStatement;
    CWriteTurns* m_pWriteLock = nullptr;
    COutsideWrites* m_pOutside = nullptr;
    std::chrono::milliseconds m_budget{0};
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    bool m_bOverBudget = false;
    mutable int m_iStorageFailure = SQLITE_OK;
};

// BEGIN IMMEDIATE on construction (after taking the database's write lock, if it has one);
// rolled back on destruction unless committed, so that a request that fails half way leaves
// every row as it was.
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
    // How long a write waits for another connection's write to end: longer than any request's
    // budget plus its commit, so that only a stuck store makes it give up.
    static constexpr std::chrono::seconds kWriteWait{4};

    CStoreDatabase& m_database;
    bool m_bHaveTurn = false;
    bool m_bStarted = false;
    bool m_bDone = false;
    std::string m_sError;
};
