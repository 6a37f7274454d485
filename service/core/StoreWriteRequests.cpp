// insert, insert_bulk and update: rows are checked column by column, parents must belong to
// the same module, and every request is one transaction.
#include <string>

#include "ModuleUsage.h"
#include "RequestEnvelope.h"
#include "RowWriter.h"
#include "StoreRequestHandler.h"

using StoreReplies::Accept;
using StoreReplies::Refuse;

namespace {
bool BindModule(sqlite3_stmt* pStatement, int iIndex, const std::string& sModule)
{
    return sqlite3_bind_text(pStatement, iIndex, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT) ==
           SQLITE_OK;
}

// The request's rows: the "arrayitem" array. Other envelope members are not read.
const Json::Value* RowsOf(const Json::Value& root, std::string& sError)
{
    const Json::Value& rows = root["arrayitem"];
    if (!rows.isArray()) {
        sError = rows.isNull() ? "arrayitem missing" : "arrayitem must be an array of rows";
        return nullptr;
    }
    return &rows;
}
}  // namespace

bool CStoreRequestHandler::InsertRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row,
                                     long long& llRowId, std::string& sError)
{
    RowWriter::ColumnValues vecValues;
    long long llIgnored = 0;
    if (!RowWriter::ReadRow(table, row, sModule, false, vecValues, llIgnored, sError)) return false;
    if (!RowWriter::CheckParent(m_database, table, vecValues, sModule, sError)) return false;

    std::string sColumns;
    std::string sPlaceholders;
    for (const auto& entry : vecValues) {
        sColumns += "\"" + entry.first + "\", ";
        sPlaceholders += "?, ";
    }
    CStatement statement = m_database.Prepare(
        "INSERT INTO \"" + table.sName + "\" (" + sColumns + "\"module_name\") VALUES (" + sPlaceholders + "?)",
        sError);
    if (!statement) return false;
    int iIndex = 1;
    if (!RowWriter::BindValues(m_database, statement.Get(), vecValues, iIndex, sError)) return false;
    if (!BindModule(statement.Get(), iIndex, sModule)) {
        sError = "cannot bind the module: " + m_database.LastError();
        return false;
    }
    if (!RowWriter::StepDone(m_database, statement.Get(), sError)) return false;
    llRowId = sqlite3_last_insert_rowid(m_database.Handle());
    return true;
}

CStoreReply CStoreRequestHandler::Insert(const std::string& sModule, const Json::Value& root,
                                         const PT_CALLER_IDENTITY& caller)
{
    std::string sError;
    const CStoreTable* pTable = RequestEnvelope::TargetTable(root, sError);
    if (pTable == nullptr) return Refuse(sError);
    CTransaction transaction(m_database);
    if (!transaction.Started()) return Refuse("cannot begin a transaction: " + transaction.Error());
    long long llRowId = 0;
    if (!InsertRow(*pTable, sModule, root, llRowId, sError)) return Refuse(sError);
    return FinishInsert(transaction, *pTable, sModule, caller, llRowId, 1);
}

CStoreReply CStoreRequestHandler::InsertBulk(const std::string& sModule, const Json::Value& root,
                                             const PT_CALLER_IDENTITY& caller)
{
    std::string sError;
    const CStoreTable* pTable = RequestEnvelope::TargetTable(root, sError);
    if (pTable == nullptr) return Refuse(sError);
    const Json::Value* pRows = RowsOf(root, sError);
    if (pRows == nullptr) return Refuse(sError);
    // There is no "last new row id" to answer with, and a client that sends no rows has a bug.
    if (pRows->empty()) return Refuse("insert_bulk: arrayitem has no rows");
    CTransaction transaction(m_database);
    if (!transaction.Started()) return Refuse("cannot begin a transaction: " + transaction.Error());
    long long llRowId = 0;
    long long llCount = 0;
    for (const Json::Value& row : *pRows) {
        if (!InsertRow(*pTable, sModule, row, llRowId, sError)) {
            return Refuse("row " + std::to_string(llCount) + ": " + sError);
        }
        ++llCount;
    }
    return FinishInsert(transaction, *pTable, sModule, caller, llRowId, llCount);
}

CStoreReply CStoreRequestHandler::FinishInsert(CTransaction& transaction, const CStoreTable& table,
                                               const std::string& sModule, const PT_CALLER_IDENTITY& caller,
                                               long long llRowId, long long llCount)
{
    std::string sError;
    if (!WithinQuota(sModule, sError)) return Refuse(sError);
    if (!RecordRegistration(table, sModule, caller, sError)) return Refuse(sError);
    if (!transaction.Commit(sError)) return Refuse("cannot commit: " + sError);
    CStoreReply reply = Accept(std::to_string(llRowId), llCount);
    reply.mapChanges[table.sName].llInserted = llCount;
    return reply;
}

bool CStoreRequestHandler::WithinQuota(const std::string& sModule, std::string& sError)
{
    PT_MODULE_USAGE usage;
    if (!ModuleUsage::Read(m_database, sModule, usage, sError)) return false;
    sError = ModuleUsage::OverQuota(sModule, usage, m_quota);
    if (sError.empty()) return true;
    std::lock_guard<std::mutex> lock(m_pShared->mutex);
    m_pShared->activity.RecordQuotaRefusal(sModule, sError, m_clock());
    return false;
}

bool CStoreRequestHandler::RecordRegistration(const CStoreTable& table, const std::string& sModule,
                                              const PT_CALLER_IDENTITY& caller, std::string& sError)
{
    if (&table != &StoreSchema::Accelerators()) return true;
    return m_ownership.RecordRegistration(sModule, caller, sError);
}

bool CStoreRequestHandler::UpdateRow(const CStoreTable& table, const std::string& sModule, const Json::Value& row,
                                     std::string& sError)
{
    RowWriter::ColumnValues vecValues;
    long long llRowId = 0;
    if (!RowWriter::ReadRow(table, row, sModule, true, vecValues, llRowId, sError)) return false;
    if (!RowWriter::CheckParent(m_database, table, vecValues, sModule, sError)) return false;

    // Only the given columns are named: assigning the row id, even to itself, makes SQLite move
    // the row and rewrite every index entry, so an update that changes nothing would still write
    // pages and wait for the disk. With no columns to set, the statement only proves that the row
    // is the module's.
    std::string sSet;
    for (const auto& entry : vecValues) sSet += (sSet.empty() ? "\"" : ", \"") + entry.first + "\" = ?";
    if (sSet.empty()) sSet = "\"_id\" = \"_id\"";
    CStatement statement = m_database.Prepare(
        "UPDATE \"" + table.sName + "\" SET " + sSet + " WHERE \"_id\" = ? AND \"module_name\" = ?", sError);
    if (!statement) return false;
    int iIndex = 1;
    if (!RowWriter::BindValues(m_database, statement.Get(), vecValues, iIndex, sError)) return false;
    if (sqlite3_bind_int64(statement.Get(), iIndex, llRowId) != SQLITE_OK ||
        !BindModule(statement.Get(), iIndex + 1, sModule)) {
        sError = "cannot bind the row id: " + m_database.LastError();
        return false;
    }
    if (!RowWriter::StepDone(m_database, statement.Get(), sError)) return false;
    if (sqlite3_changes(m_database.Handle()) != 1) {
        sError = "row " + std::to_string(llRowId) + " is not a row of this module's " + table.sName;
        return false;
    }
    return true;
}

CStoreReply CStoreRequestHandler::Update(const std::string& sModule, const Json::Value& root)
{
    std::string sError;
    const CStoreTable* pTable = RequestEnvelope::TargetTable(root, sError);
    if (pTable == nullptr) return Refuse(sError);
    const Json::Value* pRows = RowsOf(root, sError);
    if (pRows == nullptr) return Refuse(sError);
    CTransaction transaction(m_database);
    if (!transaction.Started()) return Refuse("cannot begin a transaction: " + transaction.Error());
    long long llCount = 0;
    for (const Json::Value& row : *pRows) {
        if (!UpdateRow(*pTable, sModule, row, sError)) return Refuse("row " + std::to_string(llCount) + ": " + sError);
        ++llCount;
    }
    if (!WithinQuota(sModule, sError)) return Refuse(sError);
    if (!transaction.Commit(sError)) return Refuse("cannot commit: " + sError);
    CStoreReply reply = Accept("", llCount);
    if (llCount > 0) reply.mapChanges[pTable->sName].llUpdated = llCount;
    return reply;
}
