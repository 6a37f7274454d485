#include "StoreMigration.h"

#include "StoreDatabase.h"
#include "StoreIdentity.h"
#include "StoreSchema.h"

namespace {
// Version 1: modules belong to Unix users. The owner row goes with the module's last
// accelerator row, in the same statement that deletes it.
const std::vector<std::string>& ModuleOwnerStatements()
{
    static const std::vector<std::string> kStatements = {
        "CREATE TABLE IF NOT EXISTS \"module_owners\" ("
        "\"module_name\" TEXT PRIMARY KEY NOT NULL, \"owner_uid\" INTEGER NOT NULL)",
        "CREATE TRIGGER IF NOT EXISTS \"module_owner_released\" AFTER DELETE ON \"accelerators\" "
        "WHEN NOT EXISTS (SELECT 1 FROM \"accelerators\" WHERE \"module_name\" = OLD.\"module_name\") "
        "BEGIN DELETE FROM \"module_owners\" WHERE \"module_name\" = OLD.\"module_name\"; END"};
    return kStatements;
}

struct CStep {
    int iReaches;
    const std::vector<std::string>& (*pStatements)();
};
const CStep kSteps[] = {{1, &ModuleOwnerStatements}};

int PragmaValue(CStoreDatabase& database, const std::string& sPragma)
{
    std::string sError;
    CStatement statement = database.Prepare("PRAGMA " + sPragma, sError);
    if (!statement || sqlite3_step(statement.Get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int(statement.Get(), 0);
}

bool ExecuteAll(CStoreDatabase& database, const std::vector<std::string>& vecSql, std::string& sError)
{
    for (const std::string& sSql : vecSql) {
        if (!database.Execute(sSql, sError)) return false;
    }
    return true;
}
}  // namespace

namespace StoreMigration {
int Version(CStoreDatabase& database)
{
    return PragmaValue(database, "user_version");
}

std::vector<std::string> StatementsOfVersion(int iVersion)
{
    if (iVersion < 0 || iVersion > kCurrentVersion) return {};
    // The preview tables are the same in every version so far.
    std::vector<std::string> vecSql = StoreSchema::CreateStatements();
    for (const CStep& step : kSteps) {
        if (step.iReaches > iVersion) break;
        const std::vector<std::string>& vecStep = step.pStatements();
        vecSql.insert(vecSql.end(), vecStep.begin(), vecStep.end());
    }
    return vecSql;
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
    // The file was looked at before it was opened for writing (StoreIdentity); this only keeps
    // a file another program marked in between from being taken.
    const int iApplicationId = PragmaValue(database, "application_id");
    if (iApplicationId != 0 && iApplicationId != StoreIdentity::kApplicationId) {
        sError = "the database belongs to another program (application id " + std::to_string(iApplicationId) + ")";
        return false;
    }
    // The preview tables of every version; a database of version 0 may have them already.
    if (!ExecuteAll(database, StoreSchema::CreateStatements(), sError)) {
        sError = "cannot create the store tables: " + sError;
        return false;
    }
    for (const CStep& step : kSteps) {
        if (step.iReaches <= iVersion) continue;
        if (!ExecuteAll(database, step.pStatements(), sError)) {
            sError = "cannot upgrade the schema to version " + std::to_string(step.iReaches) + ": " + sError;
            return false;
        }
    }
    if (iVersion != kCurrentVersion &&
        !database.Execute("PRAGMA user_version = " + std::to_string(kCurrentVersion), sError)) {
        sError = "cannot record the schema version: " + sError;
        return false;
    }
    // A new file, or a store of a service that did not mark its files yet.
    if (iApplicationId != StoreIdentity::kApplicationId &&
        !database.Execute("PRAGMA application_id = " + std::to_string(StoreIdentity::kApplicationId), sError)) {
        sError = "cannot record the store's application id: " + sError;
        return false;
    }
    if (!transaction.Commit(sError)) {
        sError = "cannot commit the schema upgrade: " + sError;
        return false;
    }
    return true;
}
}  // namespace StoreMigration
