#include "RowWriter.h"

#include <pelmo/TilesModel.h>

#include <cerrno>
#include <cstdlib>

#include "QueryGrammar.h"

namespace RowWriter {
namespace {
// A row id as the client sends it: a decimal text or a JSON integer.
bool ReadRowId(const Json::Value& value, long long& llRowId, std::string& sError)
{
    if (value.isInt64()) {
        llRowId = value.asInt64();
        return true;
    }
    if (value.isString()) {
        const std::string sText = value.asString();
        bool bDigits = !sText.empty() && sText.size() <= 19;
        for (std::size_t i = 0; bDigits && i < sText.size(); ++i) {
            bDigits = (sText[i] >= '0' && sText[i] <= '9') || (i == 0 && sText[i] == '-' && sText.size() > 1);
        }
        if (bDigits) {
            errno = 0;
            char* pEnd = nullptr;
            const long long llValue = std::strtoll(sText.c_str(), &pEnd, 10);
            if (errno == 0 && pEnd != nullptr && *pEnd == '\0') {
                llRowId = llValue;
                return true;
            }
        }
        sError = std::string(kRowIdKey) + " is not a row id: '" + CQueryGrammar::Excerpt(sText) + "'";
        return false;
    }
    sError = std::string(kRowIdKey) + " must be a decimal text";
    return false;
}
}  // namespace

bool ReadRow(const CStoreTable& table, const Json::Value& row, const std::string& sModule, bool bUpdate,
             ColumnValues& vecValues, long long& llRowId, std::string& sError)
{
    vecValues.clear();
    if (!row.isObject()) {
        sError = "a row must be a JSON object";
        return false;
    }
    bool bHaveRowId = false;
    const bool bAccelerators = &table == &StoreSchema::Accelerators();
    const std::string sPackageColumn = TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME;
    for (auto it = row.begin(); it != row.end(); ++it) {
        const std::string sName = it.name();
        const Json::Value& value = *it;
        if (sName == "table_name") {
            if (!value.isString() || value.asString() != table.sContentUri) {
                sError = "a row's table_name differs from the request's table";
                return false;
            }
            continue;
        }
        if (sName == kRowIdKey) {
            if (!bUpdate) {
                sError = std::string(kRowIdKey) + " belongs only in an update";
                return false;
            }
            if (!ReadRowId(value, llRowId, sError)) return false;
            bHaveRowId = true;
            continue;
        }
        if (sName == StoreSchema::kIdColumn) continue;
        if (sName == StoreSchema::kModuleColumn) {
            sError = "column module_name is set by the store, not by a client";
            return false;
        }
        if (!table.HasColumn(sName)) {
            sError = "unknown column '" + CQueryGrammar::Excerpt(sName) + "' of table " + table.sName;
            return false;
        }
        if (value.isObject() || value.isArray()) {
            sError = "column '" + sName + "': objects and arrays are not accepted";
            return false;
        }
        if (bAccelerators && sName == sPackageColumn) continue;
        vecValues.emplace_back(sName, value);
    }
    if (bUpdate && !bHaveRowId) {
        sError = std::string("an update row needs ") + kRowIdKey;
        return false;
    }
    // A module registers itself by inserting its accelerator; the package name is always its own.
    if (bAccelerators) vecValues.emplace_back(sPackageColumn, Json::Value(sModule));
    return true;
}

int BindValue(sqlite3_stmt* pStatement, int iIndex, const Json::Value& value)
{
    if (value.isNull()) return sqlite3_bind_null(pStatement, iIndex);
    if (value.isBool()) return sqlite3_bind_int(pStatement, iIndex, value.asBool() ? 1 : 0);
    if (value.isInt64()) return sqlite3_bind_int64(pStatement, iIndex, value.asInt64());
    if (value.isUInt64()) {
        // Above the 64-bit signed range: the text, which the column's affinity stores as a real.
        const std::string sText = std::to_string(value.asUInt64());
        return sqlite3_bind_text(pStatement, iIndex, sText.c_str(), static_cast<int>(sText.size()), SQLITE_TRANSIENT);
    }
    if (value.isDouble()) return sqlite3_bind_double(pStatement, iIndex, value.asDouble());
    if (value.isString()) {
        const char* pBegin = nullptr;
        const char* pEnd = nullptr;
        value.getString(&pBegin, &pEnd);
        return sqlite3_bind_text64(pStatement, iIndex, pBegin ? pBegin : "", static_cast<sqlite3_uint64>(pEnd - pBegin),
                                   SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    return SQLITE_MISMATCH;
}

bool BindValues(CStoreDatabase& database, sqlite3_stmt* pStatement, const ColumnValues& vecValues, int& iNext,
                std::string& sError)
{
    iNext = 1;
    for (const auto& entry : vecValues) {
        if (BindValue(pStatement, iNext++, entry.second) != SQLITE_OK) {
            sError = "cannot bind column " + entry.first + ": " + database.LastError();
            return false;
        }
    }
    return true;
}

bool CheckParent(CStoreDatabase& database, const CStoreTable& table, const ColumnValues& vecValues,
                 const std::string& sModule, std::string& sError)
{
    if (table.sParentColumn.empty()) return true;
    for (const auto& entry : vecValues) {
        if (entry.first != table.sParentColumn || entry.second.isNull()) continue;
        CStatement statement = database.Prepare(
            "SELECT 1 FROM \"" + table.sParentTable + "\" WHERE \"_id\" = ? AND \"module_name\" = ?", sError);
        if (!statement) return false;
        if (BindValue(statement.Get(), 1, entry.second) != SQLITE_OK ||
            sqlite3_bind_text(statement.Get(), 2, sModule.c_str(), static_cast<int>(sModule.size()),
                              SQLITE_TRANSIENT) != SQLITE_OK) {
            sError = "cannot bind the parent id: " + database.LastError();
            return false;
        }
        const int iRc = sqlite3_step(statement.Get());
        if (iRc == SQLITE_ROW) continue;
        if (iRc != SQLITE_DONE) {
            sError = "cannot look up the parent row: " + database.LastError();
            return false;
        }
        sError =
            table.sParentColumn + " '" +
            CQueryGrammar::Excerpt(entry.second.isString() ? entry.second.asString() : entry.second.toStyledString()) +
            "' is not a row of this module's " + table.sParentTable;
        return false;
    }
    return true;
}

bool StepDone(CStoreDatabase& database, sqlite3_stmt* pStatement, std::string& sError)
{
    const int iRc = sqlite3_step(pStatement);
    if (iRc == SQLITE_DONE) return true;
    sError = "store error: " + database.LastError();
    return false;
}
}  // namespace RowWriter
