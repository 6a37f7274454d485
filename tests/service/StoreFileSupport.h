// Database files as other programs, earlier services or a failing disk leave them, made with
// SQLite directly (never through the store), and the bytes of a file to show that nobody
// changed it.
#pragma once

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

inline bool FileExists(const std::string& sPath)
{
    struct stat st;
    return stat(sPath.c_str(), &st) == 0;
}

// The whole file; empty when it cannot be read.
inline std::string FileBytes(const std::string& sPath)
{
    std::ifstream in(sPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs sSql on the file (created if needed) through a connection of its own; false with
// SQLite's message when it fails.
inline bool ExecuteOnFile(const std::string& sPath, const std::string& sSql, std::string& sError)
{
    sqlite3* pDb = nullptr;
    char* pMessage = nullptr;
    bool bOk = sqlite3_open(sPath.c_str(), &pDb) == SQLITE_OK &&
               sqlite3_exec(pDb, sSql.c_str(), nullptr, nullptr, &pMessage) == SQLITE_OK;
    if (!bOk) sError = pMessage != nullptr ? pMessage : sqlite3_errmsg(pDb);
    sqlite3_free(pMessage);
    sqlite3_close(pDb);
    return bOk;
}

// The first line SQLite's quick_check answers for the file at the absolute path sPath, or its
// error; read as it is, so that no -wal or -shm appears beside it.
inline std::string QuickCheckOf(const std::string& sPath)
{
    sqlite3* pDb = nullptr;
    std::string sAnswer;
    sqlite3_stmt* pStatement = nullptr;
    if (sqlite3_open_v2(("file://" + sPath + "?mode=ro&immutable=1").c_str(), &pDb,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(pDb, "PRAGMA quick_check", -1, &pStatement, nullptr) == SQLITE_OK &&
        sqlite3_step(pStatement) == SQLITE_ROW) {
        sAnswer = reinterpret_cast<const char*>(sqlite3_column_text(pStatement, 0));
    } else {
        sAnswer = sqlite3_errmsg(pDb);
    }
    sqlite3_finalize(pStatement);
    sqlite3_close(pDb);
    return sAnswer;
}

// Overwrites the header of the first b-tree page of sTable (never page 1, which holds the
// schema) as a failing disk might, after moving every committed row out of the WAL into the
// file. What SQLite then finds is a store with one damaged page: it opens, and reading that
// table fails with "malformed".
inline bool DamageTablePage(const std::string& sPath, const std::string& sTable, std::string& sError)
{
    sqlite3* pDb = nullptr;
    sqlite3_stmt* pStatement = nullptr;
    long long llPage = 0;
    long long llPageSize = 0;
    // Closing the last connection to a WAL database removes the WAL after the checkpoint.
    bool bOk = sqlite3_open_v2(sPath.c_str(), &pDb, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
               sqlite3_exec(pDb, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr) == SQLITE_OK &&
               sqlite3_prepare_v2(pDb,
                                  "SELECT rootpage, (SELECT page_size FROM pragma_page_size) FROM sqlite_master "
                                  "WHERE type = 'table' AND name = ?1",
                                  -1, &pStatement, nullptr) == SQLITE_OK &&
               sqlite3_bind_text(pStatement, 1, sTable.c_str(), -1, SQLITE_TRANSIENT) == SQLITE_OK &&
               sqlite3_step(pStatement) == SQLITE_ROW;
    if (bOk) {
        llPage = sqlite3_column_int64(pStatement, 0);
        llPageSize = sqlite3_column_int64(pStatement, 1);
    } else {
        sError = "cannot find the first page of " + sTable + ": " + sqlite3_errmsg(pDb);
    }
    sqlite3_finalize(pStatement);
    sqlite3_close(pDb);
    if (!bOk) return false;
    if (llPage < 2 || FileExists(sPath + "-wal")) {
        sError = "table " + sTable + " has page " + std::to_string(llPage) + ", or the WAL is still there";
        return false;
    }
    // Past the page type: the free-block offset, the cell count, the content start and the
    // first cell pointers. Every one of them is now out of range.
    const std::string sGarbage(32, '\xff');
    FILE* pFile = std::fopen(sPath.c_str(), "r+b");
    bOk = pFile != nullptr && std::fseek(pFile, static_cast<long>((llPage - 1) * llPageSize + 1), SEEK_SET) == 0 &&
          std::fwrite(sGarbage.data(), 1, sGarbage.size(), pFile) == sGarbage.size();
    if (pFile != nullptr) bOk = std::fclose(pFile) == 0 && bOk;
    if (!bOk) sError = "cannot write into " + sPath;
    return bOk;
}
