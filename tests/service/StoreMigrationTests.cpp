// The schema version: a new database gets the current one, and a database written before
// versions were kept is brought up to it with every row kept (a database of a newer service is
// refused before it is opened, see StoreFileIdentityTests).
#include <fstream>
#include <iterator>
#include <memory>

#include "StoreIdentity.h"
#include "StoreMigration.h"
#include "StoreTestSupport.h"

namespace {
// Every row of the three preview tables, in id order, with each value's storage class.
std::string DumpRows(sqlite3* pDb)
{
    std::string sDump;
    for (const char* sTable : {"accelerators", "sections", "tiles"}) {
        sqlite3_stmt* pStatement = nullptr;
        if (sqlite3_prepare_v2(pDb, (std::string("SELECT * FROM ") + sTable + " ORDER BY _id").c_str(), -1, &pStatement,
                               nullptr) != SQLITE_OK) {
            ADD_FAILURE() << "cannot read " << sTable << ": " << sqlite3_errmsg(pDb);
            continue;
        }
        sDump += sTable;
        sDump += '\n';
        while (sqlite3_step(pStatement) == SQLITE_ROW) {
            for (int i = 0; i < sqlite3_column_count(pStatement); ++i) {
                const unsigned char* pText = sqlite3_column_text(pStatement, i);
                sDump += std::string(sqlite3_column_name(pStatement, i)) + "=" +
                         std::to_string(sqlite3_column_type(pStatement, i)) + ":" +
                         (pText ? reinterpret_cast<const char*>(pText) : "") + " ";
            }
            sDump += '\n';
        }
        sqlite3_finalize(pStatement);
    }
    return sDump;
}

int UserVersion(sqlite3* pDb)
{
    sqlite3_stmt* pStatement = nullptr;
    int iVersion = -1;
    if (sqlite3_prepare_v2(pDb, "PRAGMA user_version", -1, &pStatement, nullptr) == SQLITE_OK &&
        sqlite3_step(pStatement) == SQLITE_ROW) {
        iVersion = sqlite3_column_int(pStatement, 0);
    }
    sqlite3_finalize(pStatement);
    return iVersion;
}

// Writes the database from the SQL text of a store written before versions were kept.
bool LoadDump(const std::string& sPath, std::string& sRowsBefore)
{
    std::ifstream in(std::string(PELMO_SERVICE_TEST_DATA) + "/store-before-owners.sql");
    const std::string sSql((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (sSql.empty()) return false;
    sqlite3* pDb = nullptr;
    bool bOk = sqlite3_open(sPath.c_str(), &pDb) == SQLITE_OK &&
               sqlite3_exec(pDb, sSql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK && UserVersion(pDb) == 0;
    if (bOk) sRowsBefore = DumpRows(pDb);
    sqlite3_close(pDb);
    return bOk;
}
}  // namespace

using StoreMigrationTest = CStoreFixture;

TEST_F(StoreMigrationTest, NewDatabaseHasTheCurrentSchemaVersion)
{
    CTempDir dir;
    Open(dir.Path() + "/store.db");
    EXPECT_EQ(StoreMigration::Version(*m_pDatabase), StoreMigration::kCurrentVersion);
    EXPECT_EQ(StoreMigration::kCurrentVersion, 1);
}

TEST_F(StoreMigrationTest, DatabaseWrittenBeforeOwnersOpensKeepsEveryRowAndIsClaimedOnFirstUse)
{
    CTempDir dir;
    const std::string sPath = dir.Path() + "/store.db";
    std::string sRowsBefore;
    ASSERT_TRUE(LoadDump(sPath, sRowsBefore));
    ASSERT_NE(sRowsBefore.find("org.example.player"), std::string::npos);

    Open(sPath);
    EXPECT_EQ(StoreMigration::Version(*m_pDatabase), 1);
    EXPECT_EQ(DumpRows(m_pDatabase->Handle()), sRowsBefore);
    // It is marked as a store now, so that it is taken without a look at its tables next time.
    sqlite3_stmt* pStatement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(m_pDatabase->Handle(), "PRAGMA application_id", -1, &pStatement, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(pStatement), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(pStatement, 0), StoreIdentity::kApplicationId);
    sqlite3_finalize(pStatement);
    // Nobody owns the module yet; the first user to name it takes it, the next one is refused.
    const CStoreReply stats = Call("stats", "org.example.player", Json::Value(" "));
    ASSERT_TRUE(stats.bResult) << stats.sOutput;
    EXPECT_NE(stats.sOutput.find("\"owner_uid\":1000"), std::string::npos) << stats.sOutput;
    const CStoreReply other = m_pHandler->Handle("stats", "org.example.player", " ", OtherUserCaller());
    EXPECT_EQ(other.sOutput, "module org.example.player belongs to another user");

    // Opening again changes nothing more.
    Open(sPath);
    EXPECT_EQ(StoreMigration::Version(*m_pDatabase), 1);
    EXPECT_EQ(DumpRows(m_pDatabase->Handle()), sRowsBefore);
}
