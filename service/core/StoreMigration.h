// The store's schema version (SQLite's user_version) and the steps that bring a database of
// any earlier version to the current one. A database written before versions were kept has
// version 0 and the three preview tables; each step runs once, in one transaction with the
// version it reaches, so a step interrupted by a crash is done again in full at the next start.
#pragma once

#include <string>
#include <vector>

class CStoreDatabase;

namespace StoreMigration {
// The schema version this service writes.
inline constexpr int kCurrentVersion = 1;

// Creates the tables of a new database, or upgrades an older one, and marks the file with the
// store's application id and the current version. False with a one-line reason (the database
// is left as it was) when it cannot, or when the database is newer than this service or marked
// by another program.
bool Apply(CStoreDatabase& database, std::string& sError);
// The database's schema version, or -1 when it cannot be read.
int Version(CStoreDatabase& database);
// The statements that build every table, index and trigger of schema version iVersion (0 up to
// kCurrentVersion) from nothing, as this service writes them; empty for any other version.
std::vector<std::string> StatementsOfVersion(int iVersion);
}  // namespace StoreMigration
