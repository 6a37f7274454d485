// What one module holds in the store, measured against its quota.
#pragma once

#include <json/json.h>

#include <string>

#include "ModuleQuota.h"
#include "StoreDatabase.h"

struct PT_MODULE_USAGE {
    long long llSections = 0;
    long long llTiles = 0;
    long long llBytes = 0;  // every value of the module's rows, as text
};

namespace ModuleUsage {
// Sets up on the connection what Read needs (the function that adds up a row's bytes); false,
// with SQLite's reason, when it cannot.
bool Register(sqlite3* pDb, std::string& sError);
// The module's rows as they stand in the connection's current transaction.
bool Read(CStoreDatabase& database, const std::string& sModule, PT_MODULE_USAGE& usage, std::string& sError);
// Empty while the usage is within the quota; otherwise the refusal's reason.
std::string OverQuota(const std::string& sModule, const PT_MODULE_USAGE& usage, const PT_MODULE_QUOTA& quota);
// {"sections", "tiles", "bytes"}.
Json::Value ToJson(const PT_MODULE_USAGE& usage);
Json::Value ToJson(const PT_MODULE_QUOTA& quota);
}  // namespace ModuleUsage
