#include "ModuleUsage.h"

#include "StoreSchema.h"

namespace {
// One statement per table: its rows of the module and the bytes of all their values. A row
// is read once, whatever the number of its columns.
std::string UsageSql(const CStoreTable& table)
{
    std::string sBytes;
    for (const CStoreColumn& column : table.vecColumns) {
        sBytes +=
            (sBytes.empty() ? "" : " + ") + std::string("ifnull(length(CAST(\"") + column.sName + "\" AS BLOB)), 0)";
    }
    return "SELECT count(*), total(" + sBytes + ") FROM \"" + table.sName + "\" WHERE \"" + StoreSchema::kModuleColumn +
           "\" = ?1";
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
