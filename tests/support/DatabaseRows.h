// Rows straight from an SQLite database file, past the service that writes it: for tests that
// count rows or compare what the file holds before and after a request.
#pragma once

#include <sqlite3.h>

#include <string>

// Appends each row the statement yields: every cell followed by '|' ("NULL" for a null cell),
// then a line end. A statement that failed to prepare (null) yields nothing.
inline void AppendRowsText(sqlite3_stmt* pStmt, std::string& sText)
{
    while (pStmt != nullptr && sqlite3_step(pStmt) == SQLITE_ROW) {
        for (int i = 0; i < sqlite3_column_count(pStmt); ++i) {
            const unsigned char* pText = sqlite3_column_text(pStmt, i);
            sText += pText ? reinterpret_cast<const char*>(pText) : "NULL";
            sText += '|';
        }
        sText += '\n';
    }
}

// The rows of a table in the database file that the where clause keeps (all of them without
// one); -1 when the file or the table cannot be read.
inline long long CountRowsIn(const std::string& sDatabase, const std::string& sTable, const std::string& sWhere = "")
{
    sqlite3* pDb = nullptr;
    long long llCount = -1;
    if (sqlite3_open_v2(sDatabase.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        const std::string sSql = "SELECT count(*) FROM " + sTable + (sWhere.empty() ? "" : " WHERE " + sWhere);
        sqlite3_stmt* pStmt = nullptr;
        if (sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStmt, nullptr) == SQLITE_OK &&
            sqlite3_step(pStmt) == SQLITE_ROW) {
            llCount = sqlite3_column_int64(pStmt, 0);
        }
        sqlite3_finalize(pStmt);
    }
    sqlite3_close(pDb);
    return llCount;
}
