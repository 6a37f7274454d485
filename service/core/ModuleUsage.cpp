#include "ModuleUsage.h"

#include <cstring>

#include "StoreSchema.h"

namespace {
// The name of the SQL function that adds up the bytes of its arguments (see Register).
constexpr const char* kValueBytesFunction = "pelmo_value_bytes";
// Arguments per call of it: below SQLite's smallest limit on a function's arguments (127).
constexpr std::size_t kColumnsPerCall = 100;

// The characters of the decimal text of llValue, as SQLite writes an integer as text.
long long DecimalLength(sqlite3_int64 llValue)
{
    // The magnitude as unsigned: the most negative value has no positive counterpart.
    sqlite3_uint64 uMagnitude =
        llValue < 0 ? ~static_cast<sqlite3_uint64>(llValue) + 1 : static_cast<sqlite3_uint64>(llValue);
    long long llDigits = 1;
    while (uMagnitude >= 10) {
        uMagnitude /= 10;
        ++llDigits;
    }
    return llDigits + (llValue < 0 ? 1 : 0);
}

// pelmo_value_bytes(v, ...): the sum over its arguments of ifnull(length(CAST(v AS BLOB)), 0),
// computed without a cast per value. The cast makes a number text first: it counts the
// characters of the number as SQLite writes it, in the database's encoding (two bytes each in
// UTF-16), as a text counts its bytes in that encoding; a blob counts its bytes.
void ValueBytes(sqlite3_context* pContext, int iArgs, sqlite3_value** ppArgs)
{
    const bool bUtf16 = sqlite3_user_data(pContext) != nullptr;
    sqlite3_int64 llBytes = 0;
    for (int i = 0; i < iArgs; ++i) {
        sqlite3_value* pValue = ppArgs[i];
        switch (sqlite3_value_type(pValue)) {
            case SQLITE_NULL:
                break;
            case SQLITE_INTEGER:
                llBytes += DecimalLength(sqlite3_value_int64(pValue)) * (bUtf16 ? 2 : 1);
                break;
            case SQLITE_BLOB:
                llBytes += sqlite3_value_bytes(pValue);
                break;
            default:
                // A text, or a real, which SQLite writes as text with the routine the cast uses.
                llBytes += bUtf16 ? sqlite3_value_bytes16(pValue) : sqlite3_value_bytes(pValue);
        }
    }
    sqlite3_result_int64(pContext, llBytes);
}

// One statement per table: its rows of the module and the bytes of all their values. A row
// is read once, whatever the number of its columns.
std::string UsageSql(const CStoreTable& table)
{
    std::string sBytes;
    for (std::size_t i = 0; i < table.vecColumns.size(); ++i) {
        if (i % kColumnsPerCall == 0) {
            sBytes += std::string(i == 0 ? "" : ") + ") + kValueBytesFunction + "(";
        } else {
            sBytes += ", ";
        }
        sBytes += "\"" + table.vecColumns[i].sName + "\"";
    }
    if (!sBytes.empty()) sBytes += ")";
    return "SELECT count(*), total(" + (sBytes.empty() ? std::string("0") : sBytes) + ") FROM \"" + table.sName +
           "\" WHERE \"" + StoreSchema::kModuleColumn + "\" = ?1";
}

bool ReadTable(CStoreDatabase& database, const CStoreTable& table, const std::string& sModule, long long& llRows,
               long long& llBytes, std::string& sError)
{
    CStatement statement = database.Prepare(UsageSql(table), sError);
    if (!statement) return false;
    sqlite3_bind_text(statement.Get(), 1, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT);
    if (sqlite3_step(statement.Get()) != SQLITE_ROW) {
        sError = "store error: " + database.LastError();
        return false;
    }
    llRows = sqlite3_column_int64(statement.Get(), 0);
    llBytes += static_cast<long long>(sqlite3_column_double(statement.Get(), 1));
    return true;
}

// {"sections", "tiles", "bytes"}: what a module holds, or may hold.
Json::Value Counts(long long llSections, long long llTiles, long long llBytes)
{
    Json::Value value(Json::objectValue);
    value["sections"] = static_cast<Json::Int64>(llSections);
    value["tiles"] = static_cast<Json::Int64>(llTiles);
    value["bytes"] = static_cast<Json::Int64>(llBytes);
    return value;
}

std::string Over(const std::string& sModule, const char* sWhat, long long llHas, long long llQuota)
{
    return "module " + sModule + " would hold " + std::to_string(llHas) + " " + sWhat + ", over its quota of " +
           std::to_string(llQuota) + "; nothing of this request was stored";
}
}  // namespace

namespace ModuleUsage {
bool Register(sqlite3* pDb, std::string& sError)
{
    // A store written in UTF-16 keeps its texts so; a cast to a blob gives those bytes.
    bool bUtf16 = false;
    sqlite3_stmt* pStatement = nullptr;
    if (sqlite3_prepare_v2(pDb, "PRAGMA encoding", -1, &pStatement, nullptr) == SQLITE_OK &&
        sqlite3_step(pStatement) == SQLITE_ROW) {
        const unsigned char* pText = sqlite3_column_text(pStatement, 0);
        bUtf16 = pText != nullptr && std::strncmp(reinterpret_cast<const char*>(pText), "UTF-16", 6) == 0;
    }
    sqlite3_finalize(pStatement);
    // Any non-null pointer says UTF-16 to the function.
    static int s_iUtf16Marker = 0;
    if (sqlite3_create_function(pDb, kValueBytesFunction, -1, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                bUtf16 ? &s_iUtf16Marker : nullptr, &ValueBytes, nullptr, nullptr) != SQLITE_OK) {
        sError = sqlite3_errmsg(pDb);
        return false;
    }
    return true;
}

bool Read(CStoreDatabase& database, const std::string& sModule, PT_MODULE_USAGE& usage, std::string& sError)
{
    usage = PT_MODULE_USAGE();
    long long llAccelerators = 0;
    return ReadTable(database, StoreSchema::Accelerators(), sModule, llAccelerators, usage.llBytes, sError) &&
           ReadTable(database, StoreSchema::Sections(), sModule, usage.llSections, usage.llBytes, sError) &&
           ReadTable(database, StoreSchema::Tiles(), sModule, usage.llTiles, usage.llBytes, sError);
}

std::string OverQuota(const std::string& sModule, const PT_MODULE_USAGE& usage, const PT_MODULE_QUOTA& quota)
{
    if (usage.llSections > quota.llSections) return Over(sModule, "sections", usage.llSections, quota.llSections);
    if (usage.llTiles > quota.llTiles) return Over(sModule, "tiles", usage.llTiles, quota.llTiles);
    if (usage.llBytes > quota.llBytes) return Over(sModule, "bytes", usage.llBytes, quota.llBytes);
    return std::string();
}

Json::Value ToJson(const PT_MODULE_USAGE& usage)
{
    return Counts(usage.llSections, usage.llTiles, usage.llBytes);
}

Json::Value ToJson(const PT_MODULE_QUOTA& quota)
{
    return Counts(quota.llSections, quota.llTiles, quota.llBytes);
}
}  // namespace ModuleUsage
