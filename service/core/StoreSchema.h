// The three preview tables of the store: their SQLite names, the content URIs clients name
// them by, their columns with SQLite affinities, and how rows point at their parents.
#pragma once

#include <string>
#include <vector>

// One client-visible column.
struct CStoreColumn {
    std::string sName;
    std::string sAffinity;  // INTEGER, REAL or TEXT
};

struct CStoreTable {
    std::string sName;                     // SQLite table name
    std::string sContentUri;               // the text clients send as "table_name"
    std::vector<CStoreColumn> vecColumns;  // _id first; never the owning-module column
    // The column that holds the parent's _id and the parent's table; empty for accelerators.
    std::string sParentColumn;
    std::string sParentTable;

    bool HasColumn(const std::string& sColumn) const;
    const CStoreColumn* FindColumn(const std::string& sColumn) const;
};

namespace StoreSchema {
// The column that records which module owns a row. Clients never name it.
inline constexpr const char* kModuleColumn = "module_name";
inline constexpr const char* kIdColumn = "_id";

const CStoreTable& Accelerators();
const CStoreTable& Sections();
const CStoreTable& Tiles();
// All three, parents before children.
const std::vector<const CStoreTable*>& AllTables();
// The table named by a content URI, or null.
const CStoreTable* FindByContentUri(const std::string& sUri);
// CREATE TABLE / CREATE INDEX statements, idempotent.
std::vector<std::string> CreateStatements();
}  // namespace StoreSchema
