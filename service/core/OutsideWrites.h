// Counts the commits that connections outside this service made to its database file: another
// service process on the same file, or someone with the sqlite3 shell. A tool that follows the
// store through "modules" reads every module again when this count moves, because no journal
// of this service tells what such a commit changed.
//
// SQLite's data_version of one connection moves when any other connection commits, and the
// service's own workers are other connections to each other. So the count is kept on a
// connection of its own that never writes, and every commit of the service's own connections
// goes through Commit, which notes the version before and after under one lock: whatever moved
// the version outside such a pair was someone else.
#pragma once

#include <sqlite3.h>

#include <functional>
#include <mutex>
#include <string>

class COutsideWrites {
public:
    COutsideWrites() = default;
    ~COutsideWrites();
    COutsideWrites(const COutsideWrites&) = delete;
    COutsideWrites& operator=(const COutsideWrites&) = delete;

    // Opens the watching connection to the database file (not ":memory:", which no one else
    // can reach). Without it, the connection passed to Commit and Count stands in, which is
    // exact only while the service has that one connection.
    bool Open(const std::string& sPath, std::string& sError);

    // Runs `commit` (the COMMIT of pConnection's transaction, which holds SQLite's write lock)
    // so that the version it moves is counted as the service's own; its result is returned.
    bool Commit(sqlite3* pConnection, const std::function<bool()>& commit);
    // Commits of outside connections noticed since the service started.
    long long Count(sqlite3* pConnection);

private:
    long long VersionLocked(sqlite3* pConnection);
    void LookLocked(sqlite3* pConnection);

    std::mutex m_mutex;
    sqlite3* m_pWatch = nullptr;
    long long m_llSeen = -1;  // the version after the last commit or look; -1 before the first
    long long m_llOutside = 0;
};
