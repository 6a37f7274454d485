// select and delete: the client's condition, restricted to the module's rows.
#include <pelmo/SharedResult.h>

#include <map>
#include <string>
#include <vector>

#include "QueryGrammar.h"
#include "RequestEnvelope.h"
#include "RowWriter.h"
#include "SharedResultLayout.h"
#include "StoreRequestHandler.h"

using StoreReplies::Accept;
using StoreReplies::Refuse;

namespace {
// "WHERE module = ? [AND (condition)]": the module's restriction around the client's condition.
std::string WhereSql(const RequestEnvelope::CCondition& condition)
{
    std::string sSql = " WHERE \"module_name\" = ?1";
    if (!condition.sSql.empty()) sSql += " AND (" + condition.sSql + ")";
    return sSql;
}

// What a delete and a select both read first, in this order: the table, the row condition and
// the grouping. The library always sends "group_by"; a delete checks it too, though it has no
// groups.
bool ReadQuery(const Json::Value& root, const CStoreTable*& pTable, RequestEnvelope::CCondition& condition,
               std::string& sGroupSql, std::string& sError)
{
    pTable = RequestEnvelope::TargetTable(root, sError);
    if (pTable == nullptr) return false;
    std::string sGroupBy;
    return RequestEnvelope::ReadCondition(root, *pTable, condition, sError) &&
           RequestEnvelope::OptionalText(root, "group_by", sGroupBy, sError) &&
           CQueryGrammar::TranslateGroupBy(*pTable, sGroupBy, sGroupSql, sError);
}

bool BindCondition(CStoreDatabase& database, sqlite3_stmt* pStatement, const std::string& sModule,
                   const RequestEnvelope::CCondition& condition, std::string& sError)
{
    if (sqlite3_bind_text(pStatement, 1, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT) !=
        SQLITE_OK) {
        sError = "cannot bind the module: " + database.LastError();
        return false;
    }
    int iIndex = 2;
    for (const Json::Value& arg : condition.vecArgs) {
        if (RowWriter::BindValue(pStatement, iIndex++, arg) != SQLITE_OK) {
            sError = "cannot bind where_args: " + database.LastError();
            return false;
        }
    }
    return true;
}

// The ids of rows of sTable (a schema table name) whose sColumn equals llValue, in the module.
bool ChildIds(CStoreDatabase& database, const std::string& sTable, const std::string& sColumn, long long llValue,
              const std::string& sModule, std::vector<long long>& vecIds, std::string& sError)
{
    CStatement statement = database.Prepare(
        "SELECT \"_id\" FROM \"" + sTable + "\" WHERE \"" + sColumn + "\" = ? AND \"module_name\" = ?", sError);
    if (!statement) return false;
    sqlite3_bind_int64(statement.Get(), 1, llValue);
    sqlite3_bind_text(statement.Get(), 2, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT);
    int iRc;
    while ((iRc = sqlite3_step(statement.Get())) == SQLITE_ROW)
        vecIds.push_back(sqlite3_column_int64(statement.Get(), 0));
    if (iRc != SQLITE_DONE) {
        sError = "store error: " + database.LastError();
        return false;
    }
    return true;
}

bool DeleteById(CStoreDatabase& database, const std::string& sTable, long long llRowId, std::string& sError)
{
    CStatement statement = database.Prepare("DELETE FROM \"" + sTable + "\" WHERE \"_id\" = ?", sError);
    if (!statement) return false;
    sqlite3_bind_int64(statement.Get(), 1, llRowId);
    return RowWriter::StepDone(database, statement.Get(), sError);
}
}  // namespace

bool CStoreRequestHandler::DeleteRowAndChildren(const CStoreTable& table, const std::string& sModule, long long llRowId,
                                                std::map<std::string, CRowChanges>& mapDeleted, std::string& sError)
{
    // The children of a row are the module's rows that name it as their parent.
    for (const CStoreTable* pChild : StoreSchema::AllTables()) {
        if (pChild->sParentTable != table.sName) continue;
        std::vector<long long> vecChildIds;
        if (!ChildIds(m_database, pChild->sName, pChild->sParentColumn, llRowId, sModule, vecChildIds, sError)) {
            return false;
        }
        for (long long llChildId : vecChildIds) {
            if (!DeleteRowAndChildren(*pChild, sModule, llChildId, mapDeleted, sError)) return false;
        }
    }
    if (!DeleteById(m_database, table.sName, llRowId, sError)) return false;
    ++mapDeleted[table.sName].llDeleted;
    return true;
}

CStoreReply CStoreRequestHandler::Delete(const std::string& sModule, const Json::Value& root)
{
    std::string sError;
    const CStoreTable* pTable = nullptr;
    RequestEnvelope::CCondition condition;
    std::string sGroupSql;
    if (!ReadQuery(root, pTable, condition, sGroupSql, sError)) return Refuse(sError);

    CTransaction transaction(m_database);
    if (!transaction.Started()) return Refuse("cannot begin a transaction: " + transaction.Error());
    std::vector<long long> vecIds;
    {
        CStatement statement =
            m_database.Prepare("SELECT \"_id\" FROM \"" + pTable->sName + "\"" + WhereSql(condition), sError);
        if (!statement) return Refuse(sError);
        if (!BindCondition(m_database, statement.Get(), sModule, condition, sError)) return Refuse(sError);
        int iRc;
        while ((iRc = sqlite3_step(statement.Get())) == SQLITE_ROW) {
            vecIds.push_back(sqlite3_column_int64(statement.Get(), 0));
        }
        if (iRc != SQLITE_DONE) return Refuse("store error: " + m_database.LastError());
    }
    std::map<std::string, CRowChanges> mapDeleted;
    for (long long llRowId : vecIds) {
        if (!DeleteRowAndChildren(*pTable, sModule, llRowId, mapDeleted, sError)) return Refuse(sError);
    }
    if (!transaction.Commit(sError)) return Refuse("cannot commit: " + sError);
    CStoreReply reply = Accept(std::to_string(vecIds.size()), static_cast<long long>(vecIds.size()));
    reply.mapChanges = std::move(mapDeleted);
    return reply;
}

CStoreReply CStoreRequestHandler::Select(const std::string& sModule, const Json::Value& root,
                                         const PT_CALLER_IDENTITY& caller)
{
    std::string sError;
    const CStoreTable* pTable = nullptr;
    RequestEnvelope::CCondition condition;
    std::string sGroupSql;
    std::string sText;
    std::string sOrderSql;
    std::vector<std::string> vecColumns;
    // "module_name" of the envelope is not read: the caller's package decides whose rows it sees.
    if (!ReadQuery(root, pTable, condition, sGroupSql, sError) ||
        !RequestEnvelope::OptionalText(root, "order", sText, sError) ||
        !CQueryGrammar::TranslateOrder(*pTable, sText, sOrderSql, sError) ||
        !CQueryGrammar::TranslateColumnList(*pTable, root["column_list"], vecColumns, sError)) {
        return Refuse(sError);
    }

    std::string sSql = "SELECT ";
    for (std::size_t i = 0; i < vecColumns.size(); ++i) sSql += (i ? ", \"" : "\"") + vecColumns[i] + "\"";
    sSql += " FROM \"" + pTable->sName + "\"" + WhereSql(condition);
    if (!sGroupSql.empty()) sSql += " GROUP BY " + sGroupSql;
    if (!sOrderSql.empty()) sSql += " ORDER BY " + sOrderSql;

    CResultTable table;
    table.vecColumns = vecColumns;
    {
        CStatement statement = m_database.Prepare(sSql, sError);
        if (!statement) return Refuse(sError);
        if (!BindCondition(m_database, statement.Get(), sModule, condition, sError)) return Refuse(sError);
        sqlite3_stmt* pStatement = statement.Get();
        const int iColumns = static_cast<int>(vecColumns.size());
        std::size_t iBytes = 0;
        int iRc;
        while ((iRc = sqlite3_step(pStatement)) == SQLITE_ROW) {
            std::vector<CResultCell> vecCells(static_cast<std::size_t>(iColumns));
            for (int i = 0; i < iColumns; ++i) {
                CResultCell& cell = vecCells[static_cast<std::size_t>(i)];
                switch (sqlite3_column_type(pStatement, i)) {
                    case SQLITE_INTEGER:
                        cell.eKind = CResultCell::kInteger;
                        cell.llValue = sqlite3_column_int64(pStatement, i);
                        break;
                    case SQLITE_FLOAT:
                        cell.eKind = CResultCell::kDouble;
                        cell.dValue = sqlite3_column_double(pStatement, i);
                        break;
                    case SQLITE_NULL:
                        cell.eKind = CResultCell::kNull;
                        break;
                    default: {
                        // Text (the store binds no blobs).
                        const unsigned char* pText = sqlite3_column_text(pStatement, i);
                        const int iLength = sqlite3_column_bytes(pStatement, i);
                        cell.eKind = CResultCell::kText;
                        if (pText != nullptr) cell.sText.assign(reinterpret_cast<const char*>(pText), iLength);
                        iBytes += cell.sText.size();
                    }
                }
                iBytes += pelmo_shm::kCellSize;
            }
            table.vecRows.push_back(std::move(vecCells));
            if (iBytes > kMaxSharedResultSize) {
                return Refuse("result too large: over " + std::to_string(kMaxSharedResultSize) + " bytes");
            }
        }
        if (iRc != SQLITE_DONE) return Refuse("store error: " + m_database.LastError());
    }

    std::string sKey;
    long long llSize = 0;
    if (!m_publisher.Publish(sModule, table, caller, sKey, llSize, sError))
        return Refuse("cannot publish the result: " + sError);
    Json::Value reply(Json::objectValue);
    reply["key"] = sKey;
    reply["memory_size"] = std::to_string(llSize);
    reply["req_id"] = std::to_string(m_llRequestId);
    return Accept(StoreReplies::Compact(reply), static_cast<long long>(table.vecRows.size()));
}
