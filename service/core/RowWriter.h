// Turning one client row object into checked column values, binding JSON values to SQLite
// parameters, and checking that a row's parent belongs to the same module.
#pragma once

#include <json/json.h>
#include <sqlite3.h>

#include <string>
#include <utility>
#include <vector>

#include "StoreDatabase.h"
#include "StoreSchema.h"

namespace RowWriter {
inline constexpr const char* kRowIdKey = "bulk_update_row_id_key";

using ColumnValues = std::vector<std::pair<std::string, Json::Value>>;

// The columns a row sets, checked against the table: unknown columns, the module column and
// object or array values are refused; `_id` is dropped (the store assigns ids); a "table_name"
// member must name the same table; for accelerators app_pkg_name is forced to the module.
// bUpdate allows (and then requires) the row id key, which is returned in llRowId.
bool ReadRow(const CStoreTable& table, const Json::Value& row, const std::string& sModule, bool bUpdate,
             ColumnValues& vecValues, long long& llRowId, std::string& sError);

// Binds a scalar JSON value: text as text, integers as integers, reals as reals, booleans
// as 1 / 0 and null as NULL. Numeric text is left to the column's affinity.
int BindValue(sqlite3_stmt* pStatement, int iIndex, const Json::Value& value);

// Binds the row's values to the first parameters of a statement that names its columns in
// order; iNext is the parameter after them. False with the column and the connection's message.
bool BindValues(CStoreDatabase& database, sqlite3_stmt* pStatement, const ColumnValues& vecValues, int& iNext,
                std::string& sError);

// True when the row's parent column, if it names one, names a row of the module's parent table.
bool CheckParent(CStoreDatabase& database, const CStoreTable& table, const ColumnValues& vecValues,
                 const std::string& sModule, std::string& sError);

// Steps a statement that returns no rows; false with the connection's message otherwise.
bool StepDone(CStoreDatabase& database, sqlite3_stmt* pStatement, std::string& sError);
}  // namespace RowWriter
