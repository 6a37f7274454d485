#include "StoreMigration.h"

#include "StoreDatabase.h"
#include "StoreSchema.h"

namespace {
// Version 1: modules belong to Unix users. The owner row goes with the module's last
// accelerator row, in the same statement that deletes it.
bool AddModuleOwners(CStoreDatabase& database, std::string& sError)
{
    return database.Execute(
               "CREATE TABLE IF NOT EXISTS \"module_owners\" ("
               "\"module_name\" TEXT PRIMARY KEY NOT NULL, \"owner_uid\" INTEGER NOT NULL)",
               sError) &&
           database.Execute(
               "CREATE TRIGGER IF NOT EXISTS \"module_owner_released\" AFTER DELETE ON \"accelerators\" "
               "WHEN NOT EXISTS (SELECT 1 FROM \"accelerators\" WHERE \"module_name\" = OLD.\"module_name\") "
               "BEGIN DELETE FROM \"module_owners\" WHERE \"module_name\" = OLD.\"module_name\"; END",
               sError);
}

struct CStep {
    int iReaches;
    bool (*pApply)(CStoreDatabase&, std::string&);
};
const CStep kSteps[] = {{1, &AddModuleOwners}};
}  // namespace

namespace StoreMigration {
int Version(CStoreDatabase& database)
{
    std::string sError;
    CStatement statement = database.Prepare("PRAGMA user_version", sError);
    if (!statement || sqlite3_step(statement.Get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int(statement.Get(), 0);
}

bool Apply(CStoreDatabase& database, std::string& sError)
{
    CTransaction transaction(database);
    if (!transaction.Started()) {
        sError = "cannot begin the schema upgrade: " + transaction.Error();
        return false;
    }
    const int iVersion = Version(database);
    if (iVersion < 0) {
        sError = "cannot read the schema version: " + database.LastError();
        return false;
    }
    if (iVersion > kCurrentVersion) {
        sError = "the database has schema version " + std::to_string(iVersion) + ", newer than this service's " +
                 std::to_string(kCurrentVersion);
        return false;
    }
    // The preview tables of every version; a database of version 0 may have them already.
    for (const std::string& sSql : StoreSchema::CreateStatements()) {
        if (!database.Execute(sSql, sError)) {
            sError = "cannot create the store tables: " + sError;
            return false;
        }
    }
    for (const CStep& step : kSteps) {
        if (step.iReaches <= iVersion) continue;
        if (!step.pApply(database, sError)) {
            sError = "cannot upgrade the schema to version " + std::to_string(step.iReaches) + ": " + sError;
            return false;
        }
    }
    if (iVersion != kCurrentVersion &&
        !database.Execute("PRAGMA user_version = " + std::to_string(kCurrentVersion), sError)) {
        sError = "cannot record the schema version: " + sError;
        return false;
    }
    if (!transaction.Commit(sError)) {
        sError = "cannot commit the schema upgrade: " + sError;
        return false;
    }
    return true;
}
}  // namespace StoreMigration
