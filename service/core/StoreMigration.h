// The store's schema version (SQLite's user_version) and the steps that bring a database of
// any earlier version to the current one. A database written before versions were kept has
// version 0 and the three preview tables; each step runs once, in one transaction with the
// version it reaches, so a step interrupted by a crash is done again in full at the next start.
#pragma once

#include <string>

class CStoreDatabase;

namespace StoreMigration {
// The schema version this service writes.
inline constexpr int kCurrentVersion = 1;

// Creates the tables of a new database, or upgrades an older one. False with a one-line reason
// (the database is left as it was) when it cannot, or when the database is newer than this
// service.
bool Apply(CStoreDatabase& database, std::string& sError);
// The database's schema version, or -1 when it cannot be read.
int Version(CStoreDatabase& database);
}  // namespace StoreMigration
