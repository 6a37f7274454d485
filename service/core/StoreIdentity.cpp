#include "StoreIdentity.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <vector>

#include "StoreMigration.h"

namespace {
// How long the look waits for another connection's lock (a service already serving the file).
constexpr int kBusyTimeoutMs = 5000;
// How much of a text from the file or from SQLite goes into the one line of a refusal.
constexpr std::size_t kMaxQuotedBytes = 200;

constexpr const char* kForeignAdvice =
    "left as it is: give the service a file of its own (a new or empty file becomes a store)";
constexpr const char* kDamagedAdvice = "not used: move it aside to start an empty store, or restore it from a backup";

class CConnection {
public:
    CConnection() = default;
    ~CConnection()
    {
        if (m_pDb != nullptr) sqlite3_close_v2(m_pDb);
    }
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    sqlite3** Out() { return &m_pDb; }
    sqlite3* Get() const { return m_pDb; }

private:
    sqlite3* m_pDb = nullptr;
};

// One object of a schema (table, index, trigger or view), by what defines it.
struct CSchemaObject {
    std::string sType;
    std::string sTable;
    std::string sSql;
};
using CSchema = std::map<std::string, CSchemaObject>;  // by name

bool Exists(const std::string& sPath)
{
    struct stat st;
    return stat(sPath.c_str(), &st) == 0;
}

// Texts of a file are another program's bytes: one line, printable, bounded.
std::string Quoted(const std::string& sText)
{
    std::string sLine;
    for (const char c : sText.substr(0, kMaxQuotedBytes)) {
        sLine += (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) ? ' ' : c;
    }
    if (sText.size() > kMaxQuotedBytes) sLine += "...";
    return sLine;
}

// A file: URI that opens sPath read-only. Immutable tells SQLite that nobody writes the file
// while it is read, so it takes no lock and makes no -wal or -shm beside the file.
std::string ReadOnlyUri(const std::string& sPath, bool bImmutable)
{
    std::string sUri = sPath.front() == '/' ? "file://" : "file:";
    for (const char c : sPath) {
        const bool bPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
                            c == '.' || c == '-' || c == '_' || c == '~';
        if (bPlain) {
            sUri += c;
        } else {
            char sEscape[4];
            std::snprintf(sEscape, sizeof sEscape, "%%%02X", static_cast<unsigned char>(c));
            sUri += sEscape;
        }
    }
    return sUri + (bImmutable ? "?mode=ro&immutable=1" : "?mode=ro");
}

std::string Damaged(const std::string& sPath, const std::string& sWhat)
{
    return sPath + ": the store is damaged (SQLite: " + Quoted(sWhat) + "); " + kDamagedAdvice;
}

std::string Foreign(const std::string& sPath, const std::string& sWhat)
{
    return sPath + ": not a pelmo store (" + sWhat + "); " + kForeignAdvice;
}

// Why reading the file through pDb failed, as one line.
std::string Unreadable(const std::string& sPath, sqlite3* pDb)
{
    const std::string sMessage = pDb != nullptr ? sqlite3_errmsg(pDb) : "out of memory";
    switch (pDb != nullptr ? sqlite3_errcode(pDb) & 0xff : SQLITE_NOMEM) {
        case SQLITE_NOTADB:
            return sPath + ": not an SQLite database, or its first page is damaged (SQLite: " + Quoted(sMessage) +
                   "); left as it is: move it aside to start an empty store, or give the service another file";
        case SQLITE_CORRUPT:
            return Damaged(sPath, sMessage);
        default:
            return sPath + ": cannot be read (SQLite: " + Quoted(sMessage) + ")";
    }
}

// The first column of a one-row statement as a number; false when SQLite cannot answer.
bool ReadNumber(sqlite3* pDb, const char* sSql, int& iValue)
{
    sqlite3_stmt* pStatement = nullptr;
    bool bRead =
        sqlite3_prepare_v2(pDb, sSql, -1, &pStatement, nullptr) == SQLITE_OK && sqlite3_step(pStatement) == SQLITE_ROW;
    if (bRead) iValue = sqlite3_column_int(pStatement, 0);
    sqlite3_finalize(pStatement);
    return bRead;
}

std::string ColumnText(sqlite3_stmt* pStatement, int iColumn)
{
    const unsigned char* pText = sqlite3_column_text(pStatement, iColumn);
    return pText != nullptr ? std::string(reinterpret_cast<const char*>(pText),
                                          static_cast<std::size_t>(sqlite3_column_bytes(pStatement, iColumn)))
                            : std::string();
}

// Every object of the schema but SQLite's own (sqlite_sequence, sqlite_stat1, automatic
// indexes): the store neither makes nor minds those.
bool ReadSchema(sqlite3* pDb, CSchema& schema)
{
    sqlite3_stmt* pStatement = nullptr;
    if (sqlite3_prepare_v2(pDb,
                           "SELECT type, name, tbl_name, sql FROM sqlite_master "
                           "WHERE name NOT LIKE 'sqlite\\_%' ESCAPE '\\'",
                           -1, &pStatement, nullptr) != SQLITE_OK) {
        return false;
    }
    int iRc;
    while ((iRc = sqlite3_step(pStatement)) == SQLITE_ROW) {
        schema[ColumnText(pStatement, 1)] = {ColumnText(pStatement, 0), ColumnText(pStatement, 2),
                                             ColumnText(pStatement, 3)};
    }
    sqlite3_finalize(pStatement);
    return iRc == SQLITE_DONE;
}

// A table's columns: name, declared type, NOT NULL and primary key, in order.
std::vector<std::string> Columns(sqlite3* pDb, const std::string& sTable)
{
    std::vector<std::string> vecColumns;
    sqlite3_stmt* pStatement = nullptr;
    if (sqlite3_prepare_v2(pDb, "SELECT name, type, \"notnull\", pk FROM pragma_table_info(?1)", -1, &pStatement,
                           nullptr) == SQLITE_OK &&
        sqlite3_bind_text(pStatement, 1, sTable.c_str(), static_cast<int>(sTable.size()), SQLITE_TRANSIENT) ==
            SQLITE_OK) {
        while (sqlite3_step(pStatement) == SQLITE_ROW) {
            vecColumns.push_back(ColumnText(pStatement, 0) + " " + ColumnText(pStatement, 1) + " " +
                                 ColumnText(pStatement, 2) + " " + ColumnText(pStatement, 3));
        }
    }
    sqlite3_finalize(pStatement);
    return vecColumns;
}

// What this service writes for schema version iVersion, built in memory by the same statements.
bool BuildReference(int iVersion, CConnection& reference, CSchema& schema)
{
    if (sqlite3_open_v2(":memory:", reference.Out(), SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) return false;
    for (const std::string& sSql : StoreMigration::StatementsOfVersion(iVersion)) {
        if (sqlite3_exec(reference.Get(), sSql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) return false;
    }
    return ReadSchema(reference.Get(), schema);
}

// A file without the application id is taken only when all it has is what a store of version
// iVersion has, each object exactly as this service writes it: an earlier service's store.
// Empty when it is; otherwise what is not.
std::string NotTheStoreLayout(sqlite3* pDb, const CSchema& schema, int iVersion)
{
    CConnection reference;
    CSchema expected;
    if (!BuildReference(iVersion, reference, expected)) return "cannot build the store's own schema to compare with";
    for (const auto& entry : schema) {
        const std::string sName = "\"" + Quoted(entry.first) + "\"";
        const CSchemaObject& object = entry.second;
        const auto it = expected.find(entry.first);
        if (it == expected.end()) return "it has " + Quoted(object.sType) + " " + sName + ", which the store has not";
        const CSchemaObject& ours = it->second;
        if (object.sType != ours.sType || object.sTable != ours.sTable) {
            return Quoted(object.sType) + " " + sName + " is the store's " + ours.sType + " in name only";
        }
        if (object.sSql == ours.sSql) continue;
        if (object.sType == "table" && Columns(pDb, entry.first) != Columns(reference.Get(), entry.first)) {
            return "table " + sName + " has other columns than the store's";
        }
        return object.sType + " " + sName + " is defined otherwise than the store's";
    }
    return std::string();
}

bool QuickCheck(const std::string& sPath, sqlite3* pDb, std::string& sError)
{
    sqlite3_stmt* pStatement = nullptr;
    // The first problem is enough to refuse the file; the rest would only take time.
    if (sqlite3_prepare_v2(pDb, "PRAGMA quick_check(1)", -1, &pStatement, nullptr) != SQLITE_OK) {
        sError = Unreadable(sPath, pDb);
        return false;
    }
    const int iRc = sqlite3_step(pStatement);
    const std::string sAnswer = iRc == SQLITE_ROW ? ColumnText(pStatement, 0) : std::string();
    sqlite3_finalize(pStatement);
    if (iRc != SQLITE_ROW) {
        sError = (sqlite3_errcode(pDb) & 0xff) == SQLITE_CORRUPT || (sqlite3_errcode(pDb) & 0xff) == SQLITE_NOTADB
                     ? Damaged(sPath, sqlite3_errmsg(pDb))
                     : Unreadable(sPath, pDb);
        return false;
    }
    if (sAnswer != "ok") {
        sError = Damaged(sPath, sAnswer);
        return false;
    }
    return true;
}
}  // namespace

namespace StoreIdentity {
bool CheckFile(const std::string& sPath, EIntegrity integrity, std::string& sError)
{
    // A new file becomes a store; a path that cannot be looked at is for the open to report.
    if (sPath.empty() || !Exists(sPath)) return true;

    // Without a -wal or -journal beside it the file holds every committed row and no writer is
    // at work (a writer makes one of them first), so it is read as it is, leaving nothing
    // behind. With one, SQLite reads through it under its locks and changes nothing either:
    // a read-only connection neither rolls back a journal nor checkpoints a WAL.
    const bool bImmutable = !Exists(sPath + "-wal") && !Exists(sPath + "-journal");
    CConnection connection;
    if (sqlite3_open_v2(ReadOnlyUri(sPath, bImmutable).c_str(), connection.Out(),
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr) != SQLITE_OK) {
        sError = Unreadable(sPath, connection.Get());
        return false;
    }
    sqlite3* pDb = connection.Get();
    sqlite3_busy_timeout(pDb, kBusyTimeoutMs);

    int iApplicationId = 0;
    int iVersion = 0;
    if (!ReadNumber(pDb, "PRAGMA application_id", iApplicationId) ||
        !ReadNumber(pDb, "PRAGMA user_version", iVersion)) {
        sError = Unreadable(sPath, pDb);
        return false;
    }
    if (iApplicationId == kApplicationId) {
        if (iVersion > StoreMigration::kCurrentVersion) {
            sError = sPath + ": written by a newer pelmo-service (schema version " + std::to_string(iVersion) +
                     ", this one knows up to " + std::to_string(StoreMigration::kCurrentVersion) +
                     "); left as it is: serve it with that service, or give this one another file";
            return false;
        }
    } else if (iApplicationId != 0) {
        char sId[16];
        std::snprintf(sId, sizeof sId, "0x%08X", static_cast<unsigned>(iApplicationId));
        sError = Foreign(sPath, std::string("it belongs to another program: SQLite application id ") + sId);
        return false;
    } else {
        // No application id: empty, an earlier service's store, or another program's file.
        if (iVersion < 0 || iVersion > StoreMigration::kCurrentVersion) {
            sError =
                Foreign(sPath, "schema version " + std::to_string(iVersion) + " without the store's application id");
            return false;
        }
        CSchema schema;
        if (!ReadSchema(pDb, schema)) {
            sError = Unreadable(sPath, pDb);
            return false;
        }
        const std::string sDifference = NotTheStoreLayout(pDb, schema, iVersion);
        if (!sDifference.empty()) {
            sError = Foreign(sPath, sDifference);
            return false;
        }
    }
    return integrity == EIntegrity::kSkip || QuickCheck(sPath, pDb, sError);
}
}  // namespace StoreIdentity
